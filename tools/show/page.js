"use strict";
// Builds the page of a report from the JSON of wcsp-check in the document. Every text
// of a model passes through escaped().

const MAX_COLOURS = 20;
const MAX_LISTED = 12;
const LARGE = 8;

class Markup {
  constructor(text) {
    this.text = text;
  }
}

function escaped(value) {
  if (value instanceof Markup) return value.text;
  if (Array.isArray(value)) return value.map(escaped).join("");
  return String(value).replace(/[&<>"']/g, (sign) => `&#${sign.charCodeAt(0)};`);
}

// A template whose values are escaped, except for markup and lists of it.
function html(parts, ...values) {
  return new Markup(parts.reduce((text, part, i) => text + escaped(values[i - 1]) + part));
}

const unique = (items) => [...new Set(items)];
const lastOf = (items) => items[items.length - 1];

// A map from each key to its items, in the order of the first items.
function grouped(items, keyOf) {
  const groups = new Map();
  for (const item of items) {
    const key = keyOf(item);
    if (!groups.has(key)) groups.set(key, []);
    groups.get(key).push(item);
  }
  return groups;
}

function listed(texts) {
  const more = texts.length - MAX_LISTED;
  return texts.slice(0, MAX_LISTED).join(", ") + (more > 0 ? ` and ${more} more` : "");
}

function table(heads, rows, attributes = []) {
  return html`<div class="scroll"><table${attributes}><thead><tr>${
    heads.map((head) => html`<th scope="col">${head}</th>`)}</tr></thead><tbody>${
    rows.map((cells) => html`<tr>${cells}</tr>`)}</tbody></table></div>`;
}

const rowHead = (text) => html`<th scope="row">${text}</th>`;

class Page {
  constructor({view, result, changes}) {
    this.result = result;
    this.view = view;
    this.changed = changes;
    this.numViews = 0;
    this.names = result.assignment.map(([name]) => name);
    this.values = result.assignment.map(([, value]) => value);
    this.numbers = new Map(this.names.map((name, i) => [name, i]));
    this.before = new Map(changes ? changes.changed : []);
    // Equal domains share a number.
    const domains = result.domains.map(([, values]) => JSON.stringify(values));
    let run = -1;
    this.domainNumbers = this.names.map((name) => {
      const next = result.domains[run + 1];
      if (next && next[0] === name) ++run;
      return domains.indexOf(domains[run]);
    });
    this.colourValues();
  }

  domain(variable) {
    return this.result.domains[this.domainNumbers[variable]][1];
  }

  domainsOf(variables) {
    return unique(unique(variables.map((variable) => this.domainNumbers[variable])).flatMap(
      (number) => this.result.domains[number][1]));
  }

  // A class by value, or by family of values if there are many, or none. The text of a
  // value is always shown with its colour.
  colourValues() {
    const values = this.domainsOf([...this.names.keys()]);
    const groups = values.length > MAX_COLOURS ? this.result.families
      : values.map((value) => [value]);
    this.numColours = groups.length <= MAX_COLOURS ? groups.length : 0;
    this.colours = new Map(groups.slice(0, this.numColours).flatMap(
      (group, i) => group.map((value) => [value, `c${i}`])));
  }

  // Neighbours differ in hue and lightness, so they are distinct in grey too.
  style() {
    const rules = Array.from({length: this.numColours}, (_, i) =>
      `.c${i}{background:hsl(${(45 + i * 137.5) % 360} 65% ` +
      `${[92, 78, 85, 72][i % 4]}%)}`);
    return html`<style>${rules}</style>`;
  }

  // The attributes of an element that shows a variable.
  marks(variable, colour = "") {
    const old = this.before.get(this.names[variable]);
    const classes = old === undefined ? colour : `${colour} changed`.trim();
    return html` data-v="${variable}"${classes ? html` class="${classes}"` : []}${
      old === undefined ? [] : html` data-was="${old}"`}`;
  }

  valueCell(variable) {
    if (variable === null) return html`<td></td>`;
    const value = this.values[variable];
    const old = this.before.get(this.names[variable]);
    return html`<td${this.marks(variable, this.colours.get(value))}>${
      old === undefined ? [] : html`<s>${old}</s> `}${value}</td>`;
  }

  // `takers` are [text, variable] of the variables that take a value.
  takersCell(takers = []) {
    const texts = takers.map(([text, variable], i) =>
      html`${i > 0 ? ", " : ""}<span${this.marks(variable)}>${text}</span>`);
    return html`<td${texts.length ? html` class="who"` : []}>${texts}</td>`;
  }

  valueHead(value) {
    const colour = this.colours.get(value);
    return html`<th scope="row"${colour ? html` class="${colour}"` : []}>${value}</th>`;
  }

  // Two views of the same variables, one of them visible.
  views(title, isValueFirst, byVariable, byValue) {
    const isByValue = this.view ? this.view === "value" : Boolean(isValueFirst);
    const number = ++this.numViews;
    const views = [["n", "by variable", byVariable, !isByValue],
      ["v", "by value", byValue, isByValue]];
    return html`<section><h2>${title}</h2><p class="views" role="group" aria-label="view">${
      views.map(([end, label, , isShown]) => html`<button type="button" aria-controls="view${
        number}${end}" aria-pressed="${isShown}">${label}</button>`)}</p>${
      views.map(([end, , content, isShown]) => html`<div id="view${number}${end}"${
        isShown ? [] : html` hidden`}>${content}</div>`)}</section>`;
  }

  // By value: the variables that take it.
  takers(variables) {
    return grouped(variables.map((variable) => [this.names[variable], variable]),
      ([, variable]) => this.values[variable]);
  }

  // A grid of values, with the variables that take them.
  bySplitValue(variables, grid) {
    const domain = this.domain(variables[0]);
    const takers = this.takers(variables);
    const inGrid = new Set(grid.cells.flat());
    const outside = domain.filter((_, i) => !inGrid.has(i));
    const values = table(["", ...grid.columns], grid.rows.map((row, i) => [
      rowHead(row), ...grid.cells[i].map((cell) => this.takersCell(takers.get(domain[cell])))]));
    return outside.some((value) => takers.has(value))
      ? [values, table(["value", "variables"], outside.map(
        (value) => [this.valueHead(value), this.takersCell(takers.get(value))]))]
      : values;
  }

  hasOneDomain(variables) {
    return new Set(variables.map((variable) => this.domainNumbers[variable])).size === 1;
  }

  // The grid formed by the single domain of these variables, if any.
  gridOfValues(variables) {
    const [grid, second] = this.result.valueGrids[this.domainNumbers[variables[0]]];
    if (!grid || second || !this.hasOneDomain(variables)) return null;
    const size = this.domain(variables[0]).length;
    const numInside = grid.cells.flat().filter((cell) => cell !== null).length;
    return 4 * (size - numInside) <= size ? grid : null;
  }

  // Whether these variables share one large domain of numbered values, as
  // tables and rooms are.
  isNumbered(variables) {
    const domain = this.domain(variables[0]);
    return LARGE <= domain.length && domain.length < variables.length &&
      this.hasOneDomain(variables) && domain.every((value) => /^.*\D\d+$/.test(value));
  }

  // A line for each value, with the variables that take it.
  byList(variables) {
    const takers = this.takers(variables);
    return table(["value", "number", "variables"], this.domain(variables[0]).map((value) => [
      this.valueHead(value), html`<td>${(takers.get(value) || []).length}</td>`,
      this.takersCell(takers.get(value))]));
  }

  // For each value and column the rows that take it.
  byColumn(grid, variables) {
    const columns = grid.columns.map((_, column) => grouped(
      grid.rows.map((row, i) => [row, grid.cells[i][column]]).filter(([, cell]) => cell !== null),
      ([, variable]) => this.values[variable]));
    const taken = this.domainsOf(variables).filter(
      (value) => columns.some((takers) => takers.has(value)));
    return table(["", ...grid.columns], taken.map((value) => [
      this.valueHead(value), ...columns.map((takers) => this.takersCell(takers.get(value)))]));
  }

  grid(grid) {
    const {rows, columns, cells} = grid;
    const variables = cells.flat().filter((cell) => cell !== null);
    const values = this.gridOfValues(variables);
    const isNumbered = this.isNumbered(variables);
    return this.views(`${rows[0]} to ${lastOf(rows)}, ${columns[0]} to ${lastOf(columns)}`,
      values || isNumbered,
      table(["", ...columns], rows.map((row, i) => [
        rowHead(row), ...cells[i].map((cell) => this.valueCell(cell))])),
      values ? this.bySplitValue(variables, values)
        : isNumbered ? this.byList(variables) : this.byColumn(grid, variables));
  }

  list(variables) {
    const size = this.domain(variables[0]).length;
    const values = this.gridOfValues(variables);
    const [first, last] = [variables[0], lastOf(variables)].map((i) => this.names[i]);
    return this.views(variables.length === 1 ? first : `${first} to ${last}`,
      values || (2 < size && size < variables.length),
      table(["variable", "value"], variables.map((variable) => [
        rowHead(this.names[variable]), this.valueCell(variable)])),
      values ? this.bySplitValue(variables, values) : this.byList(variables));
  }

  violations() {
    const cost = (c) => BigInt(c.weight) * BigInt(c.violation);
    const violated = [...this.result.violated].sort(
      (a, b) => b.hard - a.hard || Number(cost(b) - cost(a)));
    if (!violated.length) return [];
    const rows = violated.map((c) => {
      const {counts, wants, scope} = explained(c);
      const marked = unique(scope.map((name) => this.numbers.get(name))).join(" ");
      return [html`<th scope="row" tabindex="0" data-s="${marked}">${c.name}</th>`,
        ...[c.hard ? "hard" : c.weight, c.violation, c.hard ? "" : cost(c), counts, wants,
          c.line].map((text) => html`<td>${text}</td>`)];
    });
    return html`<section><h2>Violated constraints</h2>${table(
      ["constraint", "weight", "violation", "cost", "counts", "wants", "line"], rows,
      html` class="violated"`)}</section>`;
  }

  changes() {
    if (!this.changed) return [];
    const {changed, "penalty before": penalty, "violated otherwise": otherwise} = this.changed;
    const lines = [`before: hard ${penalty.hard}, soft ${penalty.soft}`,
      `${changed.length} of ${this.names.length} variables have changed`,
      ...["violated anew", "violated no longer"].map(
        (key) => `${key}: ${this.changed[key].join(", ") || "none"}`),
      ...otherwise.length ? [`violated otherwise: ${otherwise.map(
        ([name, before, now]) => `${name} by ${now}, was ${before}`).join(", ")}`] : []];
    const rows = changed.map(([name, before, now]) => [rowHead(name), html`<td>${before}</td>`,
      html`<td${this.marks(this.numbers.get(name))}>${now}</td>`]);
    return html`<section><h2>What changed</h2><ul>${
      lines.map((line) => html`<li>${line}</li>`)}</ul>${
      rows.length ? html`<details><summary>Each change</summary>${
        table(["variable", "before", "now"], rows)}</details>` : []}</section>`;
  }

  summary() {
    const {differences, penalty, violated, groups} = this.result;
    const texts = groups.map((group) => `${group.name || "others"} ` + ["hard", "soft"].filter(
      (kind) => group[kind] !== "0").map((kind) => `${group[kind]} ${kind}`).join(" and "));
    const numbers = {hard: penalty.hard, soft: penalty.soft, violated: violated.length};
    return [differences.map((text) => html`<p class="wrong">The report differs: ${text}</p>`),
      html`<p class="summary">${Object.entries(numbers).map(
        ([label, number]) => html`${label} <b class="number">${number}</b> `)}</p>`,
      texts.length ? html`<p class="groups">${listed(texts)}</p>` : []];
  }

  content() {
    const lists = grouped(this.result.rest, (variable) => this.domainNumbers[variable]);
    return html`${this.style()}${this.summary()}${this.changes()}${
      this.result.grids.map((grid) => this.grid(grid))}${
      [...lists.values()].map((variables) => this.list(variables))}${this.violations()}<aside
      id="about" hidden aria-live="polite"></aside>`.text;
  }
}

// The terms and the bound of a violated constraint, and its cells: those that count if
// the sum is above its bound, or that could count if it is below.
function explained({kind, shared, terms, sum, lower, upper, scope}) {
  const texts = (labels) => labels.map(([name, value]) => `${name} = ${value}`);
  const namesOf = (parts) => parts.flatMap((part) => part.labels.map(([name]) => name));
  if (kind === "alldiff") {
    return {counts: shared.map((group) => listed(texts(group.labels))).join("; "),
      wants: "different values", scope: namesOf(shared)};
  }
  const counted = terms.map(({coefficient, labels}) =>
    (coefficient === 1 ? "" : `${coefficient} `) + texts(labels).join(" and "));
  const counts = terms.length ? `${sum}: ${listed(counted)}` : sum;
  if (lower === null || Number(sum) >= lower) {
    return {counts, wants: `at most ${upper}`, scope: namesOf(terms)};
  }
  const could = scope.map(([name, values]) => kind === "quadratic" || values.length > 3
    ? name : `${name} = ${values.join(" or ")}`);
  return {counts, wants: `at least ${lower} from ${listed(could)}`,
    scope: scope.map(([name]) => name)};
}

// Marks the cells of a violated constraint while the pointer or the focus is on it.
function markCells(shown, broken) {
  document.querySelectorAll("th[data-s]").forEach((head, index) => {
    head.id = "violated" + index;
    const row = head.parentElement;
    const variables = head.dataset.s.split(" ").filter(Boolean).map(Number);
    const elements = variables.flatMap((variable) => shown.get(variable) || []);
    const mark = (isOn) => elements.forEach(
      (element) => element.classList.toggle("marked", isOn));
    const settle = () => mark(row.matches(":hover, :focus-within"));
    row.addEventListener("mouseenter", () => mark(true));
    row.addEventListener("focusin", () => mark(true));
    row.addEventListener("mouseleave", settle);
    row.addEventListener("focusout", () => setTimeout(settle));
    for (const variable of variables) {
      broken.set(variable, [...broken.get(variable) || [], head]);
    }
    for (const element of elements) {
      element.classList.add("broken");
      element.tabIndex = 0;
    }
  });
  for (const element of document.querySelectorAll(".changed")) element.tabIndex = 0;
}

// Shows the variable of a cell and the violated constraints on it.
function explainCells(names, broken) {
  const about = document.getElementById("about");
  const explain = (element) => {
    const {v, was} = element.dataset;
    about.replaceChildren(names[v] + (was ? ", was " + was : ""));
    for (const head of broken.get(Number(v)) || []) {
      const link = document.createElement("a");
      link.href = "#" + head.id;
      link.textContent = head.textContent;
      link.addEventListener("click", () => head.focus());
      about.append(about.childNodes.length > 1 ? ", " : "; violated: ", link);
    }
    about.hidden = false;
  };
  for (const kind of ["mouseover", "focusin", "click"]) {
    document.addEventListener(kind, (event) => {
      const element = event.target.closest("[data-v]");
      if (element) explain(element);
    });
  }
  document.addEventListener("keydown", (event) => {
    if (event.key === "Escape") about.hidden = true;
  });
}

function switchViews() {
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
}

const page = new Page(JSON.parse(document.getElementById("data").textContent));
document.getElementById("page").innerHTML = page.content();
const broken = new Map();  // by variable: the headings of the violated constraints on it
markCells(grouped(document.querySelectorAll("[data-v]"), ({dataset}) => Number(dataset.v)), broken);
explainCells(page.names, broken);
switchViews();
