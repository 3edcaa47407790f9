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

function search() {
  const words = box.value.toLowerCase().split(/\s+/).filter(Boolean);
  found.hidden = words.length === 0;
  const all = words.length ? matches(words) : [];
  found.innerHTML = all.length ? all.map(({ page }) =>
    `<a href="${page.u}"><b>${escaped(page.t)}</b><small>${excerpt(page.x, words)}</small></a>`)
    .join("") : "nothing found";
}

box.addEventListener("input", search);
found.addEventListener("click", () => { found.hidden = true; });
document.addEventListener("keydown", (event) => {
  if (event.key === "/" && document.activeElement !== box) {
    event.preventDefault();
    box.focus();
  } else if (event.key === "Escape") {
    found.hidden = true;
  } else if (event.key === "Enter" && document.activeElement === box) {
    found.querySelector("a")?.click();
  }
});

// Of a console only the commands are copied.
for (const block of document.querySelectorAll(".listingblock")) {
  const button = document.createElement("button");
  button.className = "copy";
  button.textContent = "Copy";
  button.addEventListener("click", async () => {
    const commands = [...block.querySelectorAll(".command")].map((c) => c.textContent);
    const text = commands.length ? commands.join("\n") : block.querySelector("pre").textContent;
    await navigator.clipboard.writeText(text);
    button.textContent = "Copied";
    setTimeout(() => { button.textContent = "Copy"; }, 1500);
  });
  block.append(button);
}

const links = new Map([...side.querySelectorAll("ul ul a")].map((a) => [a.hash.slice(1), a]));
function markHere() {
  let here = null;
  for (const [id, link] of links) {
    link.classList.remove("here");
    if (byId(id).getBoundingClientRect().top < 120) {
      here = link;
    }
  }
  here?.classList.add("here");
}
addEventListener("scroll", markHere, { passive: true });
markHere();

byId("menu").addEventListener("click", () => {
  byId("menu").setAttribute("aria-expanded", side.classList.toggle("open"));
});
side.addEventListener("click", () => side.classList.remove("open"));

function setTheme(theme) {
  document.documentElement.className = theme;
}
setTheme(localStorage.getItem("theme") ?? "");
byId("theme").addEventListener("click", () => {
  const isDark = getComputedStyle(document.documentElement).colorScheme === "dark" ||
    (document.documentElement.className === "" && matchMedia("(prefers-color-scheme: dark)").matches);
  setTheme(isDark ? "light" : "dark");
  localStorage.setItem("theme", isDark ? "light" : "dark");
});
