// What the page knows of the features: what the server has listed, kept up to date by its events.

const mostPoints = 300;

/** The value that a flip gives a feature: off when it is on, else its default or, when that is off too, 1. */
export function flipped(value, defaultValue) {
  if (value !== 0) return 0;
  return defaultValue !== 0 ? defaultValue : 1;
}

const sum = (numbers) => numbers.reduce((total, number) => total + number, 0);

/** Where the values come from: the default, the environment, or a write since the start. */
function sourceOf(feature) {
  if (feature.allWrites > 0) return "written";
  return feature.environment !== null ? "environment" : "default";
}

/** The features that a report shows. */
export const reports = [
  { id: "changed", title: "Differs from default", holds: (f) => f.values.some((value) => value !== f.default) },
  { id: "neverRead", title: "Never read", holds: (f) => f.allReads === 0 },
  { id: "neverWritten", title: "Never written", holds: (f) => f.allWrites === 0 },
  { id: "overridden", title: "Overridden by environment", holds: (f) => f.environment !== null },
  { id: "written", title: "Changed since start", holds: (f) => f.allWrites > 0 },
  { id: "extension", title: "From an extension", holds: (f) => f.extension !== "" },
];

/** The value of the process or the main instance, and whether other instances have others. */
export function valueText(feature) {
  const others = feature.values.filter((value) => value !== feature.values[0]).length;
  return others === 0 ? String(feature.values[0]) : `${feature.values[0]} (${others} differ${others === 1 ? "s" : ""})`;
}

export const placeText = (feature) => (feature.line >= 0 ? `${feature.file}:${feature.line}` : feature.file);

export const rateText = (rate) => (rate === 0 ? "" : rate < 10 ? rate.toFixed(1) : Math.round(rate).toLocaleString("en"));

export class Catalogue {
  constructor() {
    this.features = [];
    this.instances = [];
    this.strayVariables = [];
    this.version = 0;
    this.generation = 0;
    this.time = 0;
    this.firstTime = null;
    this.byName = new Map();
    this.moving = new Set(); // the features whose rates are not 0
  }

  /** Takes in the server's list; what the page has seen of a feature before stays. */
  load(list) {
    const earlier = this.byName;
    const isSamePlaces = this.instances.map(({ id }) => id).join() === list.instances.map(({ id }) => id).join();
    this.firstTime ??= list.time;
    for (const key of ["instances", "strayVariables", "version", "generation", "time", "isWritable"]) this[key] = list[key];
    this.features = list.features.map((entry, id) => {
      const before = earlier.get(entry.name);
      const feature = {
        readRate: 0, writeRate: 0, lastChange: null, ...before, ...entry, id,
        searched: `${entry.name}\n${entry.component}\n${entry.module}\n${entry.file}`.toLowerCase(),
      };
      this.#sum(feature);
      // With other instances, the values that were seen are no more those of the same places.
      const goesOn = before && (isSamePlaces || entry.scope !== "perZOR");
      feature.history = goesOn ? before.history : [{ time: list.time, values: feature.values, rate: 0 }];
      return feature;
    });
    this.byName = new Map(this.features.map((feature) => [feature.name, feature]));
    this.moving = new Set(this.features.filter((feature) => feature.readRate > 0 || feature.writeRate > 0));
  }

  #sum(feature) {
    feature.allReads = sum(feature.reads);
    feature.allWrites = sum(feature.writes);
    feature.source = sourceOf(feature);
  }

  /**
   * Takes in an event.
   * @returns the features whose values have changed; null when the list is another one by now.
   */
  apply(event) {
    if (event.generation !== this.generation) return null;
    const seconds = Math.max((event.time - this.time) / 1000, 0.001);
    const changed = [];
    const cooling = new Set(this.moving);
    for (const [id, values, reads, writes] of event.rows) {
      const feature = this.features[id];
      const { allReads, allWrites } = feature;
      if (values.some((value, place) => value !== feature.values[place])) {
        changed.push(feature);
        feature.lastChange = event.time;
      }
      Object.assign(feature, { values, reads, writes });
      this.#sum(feature);
      this.#move(feature, (feature.allReads - allReads) / seconds, (feature.allWrites - allWrites) / seconds, event.time);
      cooling.delete(feature);
    }
    for (const feature of cooling) this.#move(feature, 0, 0, event.time);
    this.version = event.version;
    this.time = event.time;
    return changed;
  }

  /** Rates are smoothed over about a second, since a batch is short. */
  #move(feature, reads, writes, time) {
    const smooth = (before, now) => {
      const rate = 0.6 * before + 0.4 * Math.max(now, 0);
      return rate < 0.05 ? 0 : rate;
    };
    feature.readRate = smooth(feature.readRate, reads);
    feature.writeRate = smooth(feature.writeRate, writes);
    if (feature.readRate > 0 || feature.writeRate > 0) this.moving.add(feature);
    else this.moving.delete(feature);
    feature.history.push({ time, values: feature.values, rate: feature.readRate });
    // However long the page stays open: what is long ago is kept more coarsely.
    if (feature.history.length > mostPoints)
      feature.history = feature.history.filter((_, i, all) => i % 2 === 0 || i > all.length - 20);
  }

  /** The features that the user wants to see, in the order wanted. */
  select({ words, state, scope, module, chosen, column, isDescending }) {
    const wanted = reports.filter((report) => chosen.has(report.id));
    const found = this.features.filter((feature) =>
      (state === "" || feature.state === state) && (scope === "" || feature.scope === scope) &&
      (module === "" || feature.module === module) && words.every((word) => feature.searched.includes(word)) &&
      wanted.every((report) => report.holds(feature)));
    const sign = isDescending ? -1 : 1;
    const byName = (a, b) => (a.name < b.name ? -1 : a.name > b.name ? 1 : 0);
    return found.sort((a, b) => {
      const one = column.sortKey(a);
      const other = column.sortKey(b);
      return one < other ? -sign : one > other ? sign : byName(a, b);
    });
  }
}
