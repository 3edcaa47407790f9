"use strict";
// Marks the cells of a violated constraint while the pointer or the focus is on it,
// describes a cell, and switches between the views of a grid.
const names = JSON.parse(document.getElementById("names").textContent);
const shown = new Map();   // the elements that show a variable
const broken = new Map();  // the headings of the violated constraints on that variable
const about = document.getElementById("about");

function put(map, key, element) {
  if (!map.has(key)) map.set(key, []);
  map.get(key).push(element);
}

function* numbers(ranges) {
  for (const range of ranges.split(" ").filter(Boolean)) {
    const [first, last = first] = range.split("-").map(Number);
    for (let number = first; number <= last; ++number) yield number;
  }
}

for (const element of document.querySelectorAll("[data-v]")) {
  put(shown, Number(element.dataset.v), element);
}
document.querySelectorAll("th[data-s]").forEach((head, index) => {
  head.id = "violated" + index;
  const row = head.parentElement;
  const mark = (isOn) => {
    for (const variable of numbers(head.dataset.s)) {
      for (const element of shown.get(variable) || []) {
        element.classList.toggle("marked", isOn);
      }
    }
  };
  const settle = () => mark(row.matches(":hover, :focus-within"));
  row.addEventListener("mouseenter", () => mark(true));
  row.addEventListener("focusin", () => mark(true));
  row.addEventListener("mouseleave", settle);
  row.addEventListener("focusout", () => setTimeout(settle));
  for (const variable of numbers(head.dataset.s)) put(broken, variable, head);
});
for (const variable of broken.keys()) {
  for (const element of shown.get(variable) || []) {
    element.classList.add("broken");
    element.tabIndex = 0;
  }
}
for (const element of document.querySelectorAll(".changed")) element.tabIndex = 0;

function tell(element) {
  const variable = Number(element.dataset.v);
  const text = names[variable] + (element.dataset.was ? ", was " + element.dataset.was : "");
  about.replaceChildren(text);
  for (const head of broken.get(variable) || []) {
    const link = document.createElement("a");
    link.href = "#" + head.id;
    link.textContent = head.textContent;
    link.addEventListener("click", () => head.focus());
    about.append(about.childNodes.length > 1 ? ", " : "; violated: ", link);
  }
  about.hidden = false;
}
for (const kind of ["mouseover", "focusin", "click"]) {
  document.addEventListener(kind, (event) => {
    const element = event.target.closest("[data-v]");
    if (element) tell(element);
  });
}
document.addEventListener("keydown", (event) => {
  if (event.key === "Escape") about.hidden = true;
});

for (const views of document.querySelectorAll(".views")) {
  const buttons = [...views.querySelectorAll("button")];
  for (const button of buttons) {
    button.addEventListener("click", () => {
      for (const other of buttons) {
        other.setAttribute("aria-pressed", String(other === button));
        document.getElementById(other.getAttribute("aria-controls")).hidden = other !== button;
      }
    });
  }
}
