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

const WEEKDAYS = ["Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"];
const MONTHS = ["January", "February", "March", "April", "May", "June", "July", "August",
  "September", "October", "November", "December"];

// The date at the beginning of a text (2026-11-02 or 2026_11_02) and what follows it,
// or null.
function dated(text) {
  const parts = /^(\d{4})[-_](\d\d)[-_](\d\d)(?!\d)(.*)$/s.exec(text);
  if (!parts) return null;
  const [year, month, day] = parts.slice(1, 4).map(Number);
  const date = new Date(Date.UTC(year, month - 1, day));
  if (date.getUTCMonth() !== month - 1) return null;
  const weekday = date.getUTCDay();
  return {day, month: `${MONTHS[month - 1]} ${year}`, weekday: WEEKDAYS[weekday],
    isWeekend: weekday % 6 === 0, rest: parts[4].replace(/^[ _T]/, " ")};
}

// The dates of these texts if all are dates, or null.
function allDated(texts) {
  const dates = texts.map((text) => text instanceof Markup ? null : dated(text));
  return texts.length && dates.every(Boolean) ? dates : null;
}

const inOrder = (texts) => allDated(texts) ? [...texts].sort() : texts;

const withWeekday = (text) => {
  const date = dated(text);
  return date ? `${date.weekday} ${text}` : text;
};

const rowHead = (text) => html`<th scope="row">${withWeekday(text)}</th>`;

function table(heads, rows, attributes = []) {
  return html`<div class="scroll"><table${attributes}><thead><tr>${
    heads.map((head) => html`<th scope="col">${head}</th>`)}</tr></thead><tbody>${
    rows.map((cells) => html`<tr>${cells}</tr>`)}</tbody></table></div>`;
}

const dayClass = (dates, i) => [dates[i].isWeekend ? "weekend" : "",
  i > 0 && dates[i].month !== dates[i - 1].month ? "month" : ""].join(" ").trim();

const classOf = (names) => names ? html` class="${names}"` : [];

// Months above days, or one row of headings.
function columnHeads(columns) {
  const dates = allDated(columns);
  if (!dates) {
    return html`<tr><th class="corner"></th>${
      columns.map((head) => html`<th scope="col">${head}</th>`)}</tr>`;
  }
  // Runs of days, since --columns may mix the months.
  let run = 0;
  const months = [...grouped(dates.map((date, i) => [date.month, i]), ([month, i]) =>
    i > 0 && month === dates[i - 1].month ? run : ++run).values()];
  return html`<tr><th class="corner" rowspan="2"></th>${months.map((days) =>
    html`<th scope="colgroup" colspan="${days.length}">${days[0][0]}</th>`)}</tr><tr>${
    dates.map(({weekday, day, rest}, i) => html`<th scope="col"${
      classOf(dayClass(dates, i))}>${weekday}<br>${day}${rest}</th>`)}</tr>`;
}

// A table with a heading for each row and each column; `cells` has a list by row.
function gridTable(rows, columns, cells) {
  const dates = allDated(rows);
  return html`<div class="scroll"><table class="grid"><thead>${columnHeads(columns)
  }</thead><tbody>${rows.map((row, i) => html`<tr${dates ? classOf(dayClass(dates, i)) : []}>${
    row instanceof Markup ? row : rowHead(row)}${cells[i]}</tr>`)}</tbody></table></div>`;
}

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
    this.places = new Map(result.places);
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
      `.c${i}{color:#1c1c1c;background-color:hsl(${(45 + i * 137.5) % 360} 65% ` +
      `${[92, 78, 85, 72][i % 4]}%)}`);
    return html`<style>${rules}</style>`;
  }

  // The attributes of an element that shows a variable.
  marks(variable, colour = "") {
    const old = this.before.get(this.names[variable]);
    const classes = old === undefined ? colour : `${colour} changed`.trim();
    return html` data-v="${variable}"${classOf(classes)}${
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
    return html`<th scope="row" data-value="${value}"${classOf(colour)}>${
      withWeekday(value)}</th>`;
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
    const values = gridTable(grid.rows, grid.columns, grid.cells.map((row) =>
      row.map((cell) => this.takersCell(takers.get(domain[cell])))));
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

  // A line for each value, with the variables that take it and the places left. Of
  // many values, those that nothing takes or limits are left out.
  byList(variables) {
    const takers = this.takers(variables);
    const all = this.domainsOf(variables);
    const values = this.hasOneDomain(variables) ? inOrder(all)
      : all.filter((value) => this.places.has(value) || takers.has(value)).sort();
    const isLimited = values.some((value) => this.places.has(value));
    return table(["value", "number", ...isLimited ? ["free"] : [], "variables"],
      values.map((value) => {
        const own = takers.get(value) || [];
        const numFree = this.places.has(value) ? this.places.get(value) - own.length : "";
        return [this.valueHead(value), html`<td>${own.length}</td>`,
          isLimited ? html`<td>${numFree}</td>` : [], this.takersCell(own)];
      }));
  }

  // For each value and column the rows that take it.
  byColumn(grid, variables) {
    const columns = grid.columns.map((_, column) => grouped(
      grid.rows.map((row, i) => [row, grid.cells[i][column]]).filter(([, cell]) => cell !== null),
      ([, variable]) => this.values[variable]));
    const taken = this.domainsOf(variables).filter(
      (value) => columns.some((takers) => takers.has(value)));
    return gridTable(inOrder(taken).map((value) => this.valueHead(value)), grid.columns,
      inOrder(taken).map((value) => columns.map((takers) => this.takersCell(takers.get(value)))));
  }

  grid(grid) {
    const {rows, columns, cells} = grid;
    const variables = cells.flat().filter((cell) => cell !== null);
    const values = this.gridOfValues(variables);
    const isNumbered = this.isNumbered(variables);
    return this.views(`${rows[0]} to ${lastOf(rows)}, ${columns[0]} to ${lastOf(columns)}`,
      values || isNumbered,
      gridTable(rows, columns, cells.map((row) => row.map((cell) => this.valueCell(cell)))),
      values ? this.bySplitValue(variables, values)
        : isNumbered ? this.byList(variables) : this.byColumn(grid, variables));
  }

  // The variables outside all grids in lists: those that share values, and all that
  // share none.
  lists() {
    const lists = [];
    for (const variables of grouped(this.result.rest, (v) => this.domainNumbers[v]).values()) {
      const values = this.domain(variables[0]);
      const [first, ...others] = lists.filter((list) =>
        values.some((value) => list.values.has(value)));
      const joined = first || {variables: [], values: new Set()};
      if (!first) lists.push(joined);
      for (const other of others) {
        joined.variables.push(...other.variables);
        other.values.forEach((value) => joined.values.add(value));
        lists.splice(lists.indexOf(other), 1);
      }
      joined.variables.push(...variables);
      values.forEach((value) => joined.values.add(value));
    }
    const [single, several] = [true, false].map((isSingle) => lists.map(
      ({variables}) => variables).filter(({length}) => (length === 1) === isSingle));
    return [...several, ...single.length ? [single.flat()] : []].map((variables) =>
      variables.sort((a, b) => a - b));
  }

  list(variables) {
    const size = this.domainsOf(variables).length;
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
    const heads = ["constraint", "weight", "violation", "cost", "counts", "wants", "line"];
    const rows = violated.map((c) => {
      const {counts, wants, scope, value, isMissing} = explained(c);
      const marked = unique(scope.map((name) => this.numbers.get(name))).join(" ");
      return [html`<th scope="row" tabindex="0" data-s="${marked}" data-of="${value}"
        data-most="${isMissing ? 2 : Math.max(2 * c.violation, 2)}"${
        isMissing ? html` data-missing` : []}>${c.name}</th>`,
      ...[c.hard ? "hard" : c.weight, c.violation, c.hard ? "" : cost(c), counts, wants,
        c.line].map((text, i) => html`<td data-head="${heads[i + 1]}">${text}</td>`)];
    });
    return html`<section><h2>Violated constraints</h2>${
      table(heads, rows, html` class="violated"`)}</section>`;
  }

  changes() {
    if (!this.changed) return [];
    const {changed, new: added, gone, "penalty before": penalty,
      "violated otherwise": otherwise} = this.changed;
    const moved = (names, what) => names.length
      ? [`${names.length} ${names.length === 1 ? "is" : "are"} ${what}: ${listed(names)}`] : [];
    const lines = [`before: hard ${penalty.hard}, soft ${penalty.soft}`,
      `${changed.length} of ${this.names.length} variables have changed`,
      ...moved(added, "new"), ...moved(gone.map(([name]) => name), "gone"),
      ...["violated anew", "violated no longer"].map(
        (key) => `${key}: ${this.changed[key].join(", ") || "none"}`),
      ...otherwise.length ? [`violated otherwise: ${otherwise.map(
        ([name, before, now]) => `${name} by ${now}, was ${before}`).join(", ")}`] : []];
    const nowCell = (name) => {
      const variable = this.numbers.get(name);
      return html`<td${this.marks(variable)}>${this.values[variable]}</td>`;
    };
    const rows = [
      ...changed.map(([name, before]) => [rowHead(name), html`<td>${before}</td>`, nowCell(name)]),
      ...added.map((name) => [rowHead(name), html`<td></td>`, nowCell(name)]),
      ...gone.map(([name, before]) => [rowHead(name), html`<td>${before}</td><td></td>`])];
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
    return html`${this.style()}${this.summary()}${this.changes()}${
      this.result.grids.map((grid) => this.grid(grid))}${
      this.lists().map((variables) => this.list(variables))}${this.violations()}<aside
      id="about" hidden aria-live="polite"></aside>`.text;
  }
}

// The terms and the bound of a violated constraint, and its variables: those that count
// too much, or, where something is missing, all that could count. The value is the one
// that counts or is missing, or "" if there are several.
function explained({kind, shared, terms, sum, lower, upper, scope}) {
  const texts = (labels) => labels.map(([name, value]) => `${name} = ${value}`);
  const namesOf = (parts) => parts.flatMap((part) => part.labels.map(([name]) => name));
  if (kind === "alldiff") {
    return {counts: shared.map((group) => listed(texts(group.labels))).join("; "),
      wants: "different values", scope: namesOf(shared), value: "", isMissing: false};
  }
  const counted = terms.map(({coefficient, labels}) =>
    (coefficient === 1 ? "" : `${coefficient} `) + texts(labels).join(" and "));
  const counts = terms.length ? `${sum}: ${listed(counted)}` : sum;
  const all = scope.map(([name]) => name);
  const values = unique(scope.flatMap(([, own]) => own));
  const value = values.length === 1 ? values[0] : "";
  if (lower === null || Number(sum) >= lower) {
    const raising = terms.filter(({coefficient}) => coefficient > 0);
    return {counts, wants: `at most ${upper}`, value, isMissing: !raising.length,
      scope: raising.length ? namesOf(raising) : all};
  }
  const could = scope.map(([name, values]) => kind === "quadratic" || values.length > 3
    ? name : `${name} = ${values.join(" or ")}`);
  return {counts, wants: `at least ${lower} from ${listed(could)}`, scope: all, value,
    isMissing: true};
}

// The elements that always show that a constraint is violated: its cells, or, if they are
// many, the heading that they share in their table or the heading of their value. All
// that counts too much is marked if there is no such heading.
function markedBy(head, elements) {
  const {of, most, missing} = head.dataset;
  return [...grouped(elements, (element) => element.closest("table"))].flatMap(
    ([table, ofTable]) => {
      const cells = unique(ofTable.map((element) => element.closest("td")));
      if (cells.length <= most) return ofTable;
      const [{parentElement: row, cellIndex}] = cells;
      if (cells.every((cell) => cell.parentElement === row)) return [row.cells[0]];
      if (table.className === "grid" && cells.every((cell) => cell.cellIndex === cellIndex)) {
        // The corner spans all rows of the head.
        const heads = lastOf(table.tHead.rows).cells;
        return [heads[cellIndex - (row.cells.length - heads.length)]];
      }
      const heads = [...table.querySelectorAll("th")].filter(
        (th) => of && th.dataset.value === of);
      return heads.length || missing !== undefined ? heads : ofTable;
    });
}

// Marks the cells of a violated constraint while the pointer or the focus is on it.
// Returns the headings of the violated constraints by variable and marked heading.
function markCells(shown) {
  const broken = new Map();
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
    for (const element of markedBy(head, elements)) {
      element.classList.add("broken");
      element.tabIndex = 0;
      if (element.localName === "th") {
        broken.set(element, [...broken.get(element) || [], head]);
      }
    }
  });
  for (const element of document.querySelectorAll(".changed")) element.tabIndex = 0;
  return broken;
}

// The cells below the headings of weekends and of first days look like these.
function markDays() {
  for (const head of document.querySelectorAll("thead .weekend, thead .month")) {
    for (const row of head.closest("table").tBodies[0].rows) {
      row.cells[head.cellIndex + 1].classList.add(...head.classList);
    }
  }
}

// Shows the variable of a cell, or the text of a heading, and the violated constraints
// on it.
function explainCells(names, broken) {
  const about = document.getElementById("about");
  const explain = (element) => {
    const {v, was} = element.dataset;
    about.replaceChildren(v === undefined ? element.innerText.replace(/\s+/g, " ")
      : names[v] + (was ? ", was " + was : ""));
    for (const head of broken.get(v === undefined ? element : Number(v)) || []) {
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
      const element = event.target.closest("[data-v], th.broken");
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
markDays();
explainCells(page.names, markCells(grouped(
  document.querySelectorAll("[data-v]"), ({dataset}) => Number(dataset.v))));
switchViews();
