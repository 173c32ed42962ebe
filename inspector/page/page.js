import { Catalogue, flipped, placeText, rateText, reports, valueText } from "./catalogue.js";
import { drawChart } from "./chart.js";
import { save, toCsv, toJson } from "./export.js";
import { Table } from "./table.js";

const at = (id) => document.getElementById(id);
const count = (number) => number.toLocaleString("en");

const text = (id, title, of) => ({ id, title, text: of, sortKey: (row) => of(row).toLowerCase() });
const number = (id, title, of, show = (row) => count(of(row))) =>
  ({ id, title, isNumber: true, text: show, sortKey: of });

const columns = [
  { ...text("name", "Name", (row) => row.name) },
  text("scope", "Scope", (row) => row.scope),
  text("state", "State", (row) => row.state),
  number("default", "Default", (row) => row.default, (row) => String(row.default)),
  { ...number("value", "Value", (row) => row.values[0], valueText),
    isChanged: (row) => row.values.some((value) => value !== row.default) },
  text("source", "Source", (row) => row.source),
  number("reads", "Reads", (row) => row.allReads),
  number("readRate", "Reads/s", (row) => row.readRate, (row) => rateText(row.readRate)),
  number("writes", "Writes", (row) => row.allWrites),
  number("writeRate", "Writes/s", (row) => row.writeRate, (row) => rateText(row.writeRate)),
  text("component", "Component", (row) => row.component),
  text("module", "Module", (row) => row.module),
  text("place", "File", placeText),
];
const movingColumns = new Set(["value", "source", "reads", "readRate", "writes", "writeRate"]);

const catalogue = new Catalogue();
const wanted = { words: [], state: "", scope: "", module: "", chosen: new Set(), column: columns[0], isDescending: false };
const undone = []; // the changes that can be taken back, the latest last
let selected = null; // the name of the feature whose details are shown
let events = null;

const table = new Table(at("grid"), columns, {
  open: (row, isByKey) => {
    openDetails(row);
    if (isByKey) at("details-name").focus();
  },
  flip: (row) => flip(row, 0),
  close: closeDetails,
  sort: (column) => {
    wanted.isDescending = wanted.column === column ? !wanted.isDescending : Boolean(column.isNumber);
    wanted.column = column;
    select();
  },
});

// Speaking to the server

async function ask(path, options) {
  const answer = await fetch(path, options);
  if (!answer.ok) throw new Error((await answer.text()).trim());
  return answer.json();
}

const post = (path, body) => ask(path, {
  method: "POST",
  headers: { "Content-Type": "application/json", "X-Inspector": "1" },
  body: JSON.stringify(body),
});

function fail(what, error) {
  at("failure").textContent = `${what}: ${error.message}`;
  at("failure").hidden = false;
}

function announce(what) {
  at("announcement").textContent = what;
}

function showConnection(state, what) {
  at("connection").className = state;
  at("connection").textContent = what;
}

/** Loads the list and follows its changes. `isAnew` has the extensions asked. */
async function load(isAnew) {
  try {
    events?.close();
    events = null;
    catalogue.load(isAnew ? await post("api/list", {}) : await ask("api/catalogue"));
    at("failure").hidden = true;
    showList();
    follow();
  } catch (error) {
    fail("The features cannot be listed", error);
    showConnection("lost", "Not connected");
  }
}

function follow() {
  if (document.hidden || events) return;
  events = new EventSource(`api/events?since=${catalogue.version}`);
  events.onopen = () => showConnection("live", "Live");
  events.onerror = () => showConnection("lost", "Connection lost: has the program ended?");
  events.onmessage = (message) => take(JSON.parse(message.data));
}

// A page that nobody sees costs the program nothing.
document.addEventListener("visibilitychange", () => {
  if (document.hidden) {
    events?.close();
    events = null;
    showConnection("", "Paused");
  } else {
    follow();
  }
});

let lastSelection = 0;
let lastAnnouncement = 0;
let pending = new Set(); // names of features whose changes are still to be announced

function take(event) {
  const changed = catalogue.apply(event);
  if (changed === null) {
    load(false);
    return;
  }
  for (const feature of changed) pending.add(feature.name);
  const now = performance.now();
  if (now - lastSelection > 1000 && catalogue.features.length > 0) {
    lastSelection = now;
    showReports();
    if (movingColumns.has(wanted.column.id) || wanted.chosen.size > 0) select(false);
  }
  if (now - lastAnnouncement > 2000 && pending.size > 0) {
    lastAnnouncement = now;
    announceChanges();
  }
  table.now = event.time;
  table.draw();
  if (selected !== null) showDetails();
}

function announceChanges() {
  const features = [...pending].map((name) => catalogue.byName.get(name)).filter(Boolean);
  pending = new Set();
  announce(features.length > 3 ? `${features.length} features have changed`
    : features.map((feature) => `${feature.name} is ${valueText(feature)}`).join(", "));
}

// What is shown

function showList() {
  document.body.classList.toggle("reading", !catalogue.isWritable);
  at("mode").textContent = catalogue.isWritable ? "Writing allowed" : "Read only";
  at("undo").hidden = !catalogue.isWritable;
  at("space-key").hidden = !catalogue.isWritable;
  const fill = (id, all) => {
    const list = at(id);
    list.replaceChildren(new Option("any", ""), ...[...new Set(all)].sort().map((one) => new Option(one, one)));
    list.value = wanted[id];
    wanted[id] = list.value;
  };
  fill("state", catalogue.features.map((feature) => feature.state));
  fill("scope", catalogue.features.map((feature) => feature.scope));
  fill("module", catalogue.features.map((feature) => feature.module).filter((module) => module !== ""));
  showStrays();
  select();
  if (selected !== null) openDetails(catalogue.byName.get(selected));
}

const reportButtons = new Map(reports.map((report) => {
  const button = document.createElement("button");
  button.type = "button";
  button.id = `report-${report.id}`;
  button.setAttribute("aria-pressed", "false");
  button.addEventListener("click", () => {
    if (!wanted.chosen.delete(report.id)) wanted.chosen.add(report.id);
    button.setAttribute("aria-pressed", wanted.chosen.has(report.id));
    select();
  });
  return [report, button];
}));
const strayButton = document.createElement("button");
strayButton.type = "button";
strayButton.id = "report-strays";
strayButton.setAttribute("aria-controls", "strays");
strayButton.addEventListener("click", () => {
  at("strays").hidden = !at("strays").hidden;
  strayButton.setAttribute("aria-expanded", !at("strays").hidden);
});
strayButton.setAttribute("aria-expanded", "false");
at("reports").append(...reportButtons.values(), strayButton);

function showReports() {
  for (const [report, button] of reportButtons)
    setText(button, `${report.title} (${count(catalogue.features.filter(report.holds).length)})`);
  setText(strayButton, `Variables without effect (${count(catalogue.strayVariables.length)})`);
}

function showStrays() {
  const lines = catalogue.strayVariables.map((stray) => {
    const line = document.createElement("li");
    line.textContent = `${stray.name}=${stray.text}: ` +
      (stray.namesAFeature ? "this is no 32-bit integer" : "there is no such feature");
    return line;
  });
  at("stray-list").replaceChildren(...lines);
  if (lines.length === 0) at("stray-list").textContent = "None.";
}

function setText(element, content) {
  if (element.textContent !== content) element.textContent = content;
}

/** Shows the features that are wanted. `isNew`: as the user has just asked. */
function select(isNew = true) {
  const rows = catalogue.select(wanted);
  table.showSort(wanted.column, wanted.isDescending);
  table.selected = selected !== null ? catalogue.byName.get(selected) : null;
  table.active = table.active ? catalogue.byName.get(table.active.name) ?? null : null;
  if (!rows.includes(table.active)) table.active = rows[0] ?? null;
  table.setRows(rows);
  if (isNew) showReports();
  setText(at("count"), rows.length === catalogue.features.length ? `${count(rows.length)} features`
    : `${count(rows.length)} of ${count(catalogue.features.length)} features`);
}

// Details

function openDetails(feature) {
  if (!feature) return closeDetails();
  const places = at("places").tBodies[0];
  if (selected !== feature.name) places.replaceChildren();
  selected = feature.name;
  table.selected = feature;
  at("details").hidden = false;
  at("details-name").textContent = feature.name;
  // A line that is there stays, and with it what is being typed there: other instances may come and go meanwhile.
  const wantedPlaces = placesOf(feature);
  for (const row of [...places.rows]) if (!wantedPlaces.some(({ id }) => String(id) === row.dataset.id)) row.remove();
  places.append(...wantedPlaces.slice(places.rows.length).map((instance) => makePlace(feature.name, instance)));
  showDetails();
  table.draw();
}

function closeDetails() {
  if (selected === null) return;
  const hadFocus = at("details").contains(document.activeElement);
  selected = null;
  table.selected = null;
  at("details").hidden = true;
  table.draw();
  if (hadFocus) at("grid").focus();
}

/** Where the feature has values, in their order. */
const placesOf = (feature) => (feature.scope === "perZOR" ? catalogue.instances : [{ id: 0, name: "process" }]);

/** A line of the details. New instances come last, so that the lines are in the order of the values. */
function makePlace(featureName, { id, name }) {
  const row = document.createElement("tr");
  row.dataset.id = id;
  for (const content of [name, "", "", ""]) row.insertCell().textContent = content;
  if (!catalogue.isWritable) return row;
  const form = document.createElement("form");
  const flipButton = document.createElement("button");
  flipButton.type = "button";
  flipButton.textContent = "Flip";
  flipButton.className = "flip";
  flipButton.setAttribute("aria-label", `Flip, ${name}`);
  flipButton.addEventListener("click", () => flip(catalogue.byName.get(featureName), row.sectionRowIndex));
  const input = document.createElement("input");
  input.type = "number";
  input.required = true;
  input.min = "-2147483648";
  input.max = "2147483647";
  input.setAttribute("aria-label", `New value, ${name}`);
  const setButton = document.createElement("button");
  setButton.textContent = "Set";
  setButton.setAttribute("aria-label", `Set, ${name}`);
  form.append(flipButton, input, setButton);
  form.addEventListener("submit", (event) => {
    event.preventDefault();
    change(featureName, id, name, Number(input.value));
    input.value = "";
  });
  row.insertCell().append(form);
  return row;
}

function showDetails() {
  const feature = catalogue.byName.get(selected);
  const facts = [
    ["Value", `${valueText(feature)}, default ${feature.default}`],
    ["Source", feature.environment === null ? feature.source
      : `${feature.source}; the environment gave it ${feature.environment} at first`],
    ["State", feature.state],
    ["Scope", feature.scope],
    ["Reads", `${count(feature.allReads)}, ${feature.readRate.toFixed(1)}/s`],
    ["Writes", `${count(feature.allWrites)}, ${feature.writeRate.toFixed(1)}/s`],
    ["Component", feature.component],
    ["Module", feature.module],
    ["Client dir", feature.clientDir],
    ["Declared in", placeText(feature)],
    ["Extension", feature.extension],
  ].filter(([, content]) => content !== "");
  const list = at("facts");
  if (list.children.length !== 2 * facts.length)
    list.replaceChildren(...facts.flatMap(() => [document.createElement("dt"), document.createElement("dd")]));
  facts.forEach(([title, content], i) => {
    setText(list.children[2 * i], title);
    setText(list.children[2 * i + 1], content);
  });
  [...at("places").tBodies[0].rows].forEach((row, place) => {
    setText(row.cells[1], String(feature.values[place]));
    setText(row.cells[2], count(feature.reads[place]));
    setText(row.cells[3], count(feature.writes[place]));
  });
  setText(at("variable"), `QZ_FEATURE_${feature.name}=${feature.values[0]}`);
  drawChart(at("chart"), feature, catalogue.firstTime, catalogue.time);
}

// Changes

function flip(feature, place) {
  if (!catalogue.isWritable) {
    announce("The program has not allowed features to be changed here");
    return;
  }
  const { id, name } = placesOf(feature)[place];
  change(feature.name, id, name, flipped(feature.values[place], feature.default));
}

async function change(name, instance, instanceName, value) {
  try {
    const { before, failure } = await post("api/set", { name, instance, value });
    at("failure").hidden = true;
    if (before !== value) undone.push({ name, instance, instanceName, before, after: value });
    showUndo();
    announce(`${name} set from ${before} to ${value}`);
    if (failure !== "") fail(`${name} is set, but a watcher failed`, new Error(failure));
  } catch (error) {
    fail(`${name} cannot be set`, error);
  }
}

function showUndo() {
  const last = undone.at(-1);
  at("undo").disabled = last === undefined;
  setText(at("undo"), last === undefined ? "Undo" : `Undo ${last.name} (${last.instanceName}): ${last.after} \u2192 ${last.before}`);
}

/** Takes the last change back, unless somebody has made another one since. */
at("undo").addEventListener("click", async () => {
  const { name, instance, before, after } = undone.pop();
  if (undone.length === 0) at("grid").focus(); // a button that is off cannot keep it
  showUndo();
  try {
    const { failure } = await post("api/set", { name, instance, value: before, expected: after });
    at("failure").hidden = true;
    announce(`${name} set back to ${before}`);
    if (failure !== "") fail(`${name} is set back, but a watcher failed`, new Error(failure));
  } catch (error) {
    fail(`${name} cannot be set back`, error);
  }
});

// What the user asks for

at("search").addEventListener("input", () => {
  wanted.words = at("search").value.toLowerCase().split(/\s+/).filter((word) => word !== "");
  at("grid").scrollTop = 0;
  select();
});
for (const id of ["state", "scope", "module"]) {
  at(id).addEventListener("change", () => {
    wanted[id] = at(id).value;
    select();
  });
}
at("search").addEventListener("keydown", (event) => {
  if (event.key === "ArrowDown" || event.key === "Enter") at("grid").focus();
});
document.addEventListener("keydown", (event) => {
  const isTyping = event.target.matches("input, select");
  if (event.key === "/" && !isTyping && !event.ctrlKey && !event.metaKey) {
    event.preventDefault();
    at("search").focus();
  } else if (event.key === "Escape" && (!isTyping || at("details").contains(event.target))) {
    closeDetails();
  }
});
at("close").addEventListener("click", closeDetails);
at("refresh").addEventListener("click", () => load(true));
at("export-json").addEventListener("click", () =>
  save("features.json", "application/json", toJson(table.rows, catalogue.instances)));
at("export-csv").addEventListener("click", () => save("features.csv", "text/csv", toCsv(table.rows)));
at("copy").addEventListener("click", async () => {
  try {
    await navigator.clipboard.writeText(at("variable").textContent);
    announce(`Copied ${at("variable").textContent}`);
  } catch (error) {
    fail("The line cannot be copied", error);
  }
});

load(true);
