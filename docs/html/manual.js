// Search, copy buttons, the mark in the side bar, and the theme. Everything
// works from disk.
const byId = (id) => document.getElementById(id);
const box = byId("search");
const found = byId("found");
const side = byId("side");

const escaped = (text) =>
  text.replace(/[&<>]/g, (c) => ({ "&": "&amp;", "<": "&lt;", ">": "&gt;" })[c]);

// All words have to occur; a title counts more than a text.
function matches(words) {
  return PAGES.map((page) => {
    const title = page.t.toLowerCase();
    const text = page.x.toLowerCase();
    const isIn = words.every((word) => title.includes(word) || text.includes(word));
    const score = words.filter((word) => title.includes(word)).length;
    return { page, score: isIn ? 1 + 10 * score : 0 };
  }).filter((match) => match.score > 0).sort((a, b) => b.score - a.score).slice(0, 20);
}

function excerpt(text, words) {
  const at = Math.max(0, text.toLowerCase().indexOf(words[0]) - 40);
  const pattern = words.map((word) => escaped(word).replace(/[.*+?^${}()|[\]\\]/g, "\\$&"));
  return escaped(text.slice(at, at + 160)).replace(
    new RegExp(pattern.join("|"), "gi"), "<mark>$&</mark>");
}

function setOpen(isOpen) {
  found.hidden = !isOpen;
  box.setAttribute("aria-expanded", isOpen);
}

function search() {
  const words = box.value.toLowerCase().split(/\s+/).filter(Boolean);
  const all = words.length ? matches(words) : [];
  found.innerHTML = all.length ? all.map(({ page }) =>
    `<a href="${page.u}"><b>${escaped(page.t)}</b><small>${excerpt(page.x, words)}</small></a>`)
    .join("") : "Nothing found";
  setOpen(words.length > 0);
}

// While results are shown, the box and the results are a ring for the keys.
function moveFocus(step) {
  const stops = [box, ...found.querySelectorAll("a")];
  const next = stops.indexOf(document.activeElement) + step;
  stops[(next + stops.length) % stops.length].focus();
}

const STEPS = { ArrowDown: () => 1, ArrowUp: () => -1, Tab: (event) => event.shiftKey ? -1 : 1 };
function searchKey(event) {
  if (event.key === "Escape") {
    event.preventDefault();
    box.focus();
    setOpen(false);
  } else if (event.key === "Enter" && document.activeElement === box) {
    found.querySelector("a")?.click();
  } else if (event.key in STEPS) {
    event.preventDefault();
    moveFocus(STEPS[event.key](event));
  }
}

box.addEventListener("input", search);
box.addEventListener("focus", () => { if (found.hidden) search(); });
found.addEventListener("click", (event) => { if (event.target.closest("a")) setOpen(false); });
document.addEventListener("click", (event) => {
  if (event.target !== box && !found.contains(event.target)) setOpen(false);
});
document.addEventListener("keydown", (event) => {
  if (event.key === "/" && document.activeElement !== box) {
    event.preventDefault();
    box.focus();
  } else if (!found.hidden) {
    searchKey(event);
  } else if (event.key === "ArrowDown" && document.activeElement === box) {
    event.preventDefault();
    search();
  }
});

// Without a clipboard the old command copies; where that is refused as well,
// the text is left selected for the reader to copy.
async function copy(text, block) {
  try {
    await navigator.clipboard.writeText(text);
    return "Copied";
  } catch {
    const area = document.createElement("textarea");
    area.readOnly = true;
    area.value = text;
    area.rows = Math.min(text.split("\n").length + 1, 10);
    block.append(area);
    area.focus();
    area.select();
    if (document.execCommand("copy")) {
      area.remove();
      return "Copied";
    }
    area.addEventListener("blur", () => area.remove());
    return "Copy the selection";
  }
}

// Of a console only the commands are copied.
for (const block of document.querySelectorAll(".listingblock > .content")) {
  const button = document.createElement("button");
  button.className = "copy";
  button.textContent = "Copy";
  button.addEventListener("click", async () => {
    const commands = [...block.querySelectorAll(".command")].map((c) => c.textContent);
    const text = commands.length ? commands.join("\n") : block.querySelector("pre").textContent;
    button.textContent = await copy(text, block.parentElement);
    setTimeout(() => { button.textContent = "Copy"; }, 2500);
  });
  block.append(button);
}

// A section is current once its heading has passed a line below the header. On
// the last screen, where headings stop short of it, the line moves down to them.
// The section that a link leads to stays current until the reader moves on.
const links = new Map([...side.querySelectorAll("ul ul a")].map((a) => [a.hash.slice(1), a]));
let target = location.hash.slice(1);
function markHere() {
  const top = (id) => byId(id).getBoundingClientRect().top;
  const most = document.documentElement.scrollHeight - innerHeight;
  const last = Math.min(innerHeight, most);
  const line = 120 + (last > 0 ? Math.max(0, last - most + scrollY) / last : 0) *
    (innerHeight - 120);
  const passed = [...links.keys()].filter((id) => top(id) < line).pop();
  const isAimed = links.has(target) && top(target) > 0 && top(target) < innerHeight;
  for (const [id, link] of links) {
    link.classList.toggle("here", id === (isAimed ? target : passed));
  }
}
for (const moved of ["wheel", "touchmove", "keydown", "pointerdown"]) {
  addEventListener(moved, () => { target = ""; }, { passive: true });
}
function follow() {
  target = location.hash.slice(1);
  markHere();
}
addEventListener("hashchange", follow);
addEventListener("scroll", markHere, { passive: true });
addEventListener("resize", markHere);
markHere();

byId("menu").addEventListener("click", () => {
  byId("menu").setAttribute("aria-expanded", side.classList.toggle("open"));
});
side.addEventListener("click", (event) => {
  side.classList.remove("open");
  byId("menu").setAttribute("aria-expanded", false);
  if (event.target.hash === location.hash) {
    follow();
  }
});

// The pages in frames take the theme as a message: from disk they are of
// another origin.
function setTheme(theme) {
  document.documentElement.className = theme;
  for (const frame of document.querySelectorAll("iframe")) {
    frame.contentWindow.postMessage(theme || "light dark", "*");
  }
}
const theme = () => localStorage.getItem("theme") ?? "";
setTheme(theme());
for (const frame of document.querySelectorAll("iframe")) {
  frame.addEventListener("load", () => setTheme(theme()));
}
byId("theme").addEventListener("click", () => {
  const isDark = theme() ? theme() === "dark" : matchMedia("(prefers-color-scheme: dark)").matches;
  localStorage.setItem("theme", isDark ? "light" : "dark");
  setTheme(theme());
});
