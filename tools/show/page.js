"use strict";
// Marks the cells of a violated constraint while its row is pointed at or has
// the focus, and switches between the views of a grid.
const cells = new Map();
for (const cell of document.querySelectorAll("[data-v]")) {
  for (const variable of cell.dataset.v.split(" ")) {
    cells.set(variable, [...(cells.get(variable) || []), cell]);
  }
}
for (const row of document.querySelectorAll("tr[data-scope]")) {
  const scope = row.dataset.scope.split(" ").flatMap((v) => cells.get(v) || []);
  const mark = (on) => scope.forEach((cell) => cell.classList.toggle("marked", on));
  row.addEventListener("mouseenter", () => mark(true));
  row.addEventListener("mouseleave", () => mark(false));
  row.addEventListener("focus", () => mark(true));
  row.addEventListener("blur", () => mark(false));
}
for (const views of document.querySelectorAll(".views")) {
  const buttons = [...views.querySelectorAll("button")];
  for (const button of buttons) {
    button.addEventListener("click", () => {
      for (const other of buttons) {
        other.setAttribute("aria-pressed", String(other === button));
        document.getElementById(other.dataset.view).hidden = other !== button;
      }
    });
  }
}
