// The features shown, as files.

const fields = ["name", "scope", "state", "default", "values", "source", "environment", "reads", "readRate", "writes",
  "writeRate", "component", "module", "clientDir", "file", "line", "extension"];

/** One object for each feature; values, reads and writes by the names of the instances. */
export function toJson(features, instances) {
  const byPlace = (feature, numbers) => Object.fromEntries(numbers.map((number, i) =>
    [feature.scope === "perZOR" ? `${instances[i].id}: ${instances[i].name}` : "process", number]));
  const shown = features.map((feature) => ({
    ...Object.fromEntries(fields.map((field) => [field, feature[field]])),
    values: byPlace(feature, feature.values),
    reads: byPlace(feature, feature.reads),
    writes: byPlace(feature, feature.writes),
  }));
  return JSON.stringify(shown, null, 1) + "\n";
}

/** A cell; a text that a spreadsheet would take for a formula gets an apostrophe first. */
function cell(content) {
  if (typeof content === "number") return String(content);
  const text = String(content ?? "");
  const safe = /^[=+\-@\t\r\n]/.test(text) ? `'${text}` : text;
  return `"${safe.replaceAll('"', '""')}"`;
}

/** One line for each feature. "value" is that of the process or the main instance, the counts are those of all. */
export function toCsv(features) {
  const columns = fields.map((field) => (field === "values" ? "value" : field));
  const lines = features.map((feature) => fields.map((field) => {
    if (field === "values") return cell(feature.values[0]);
    if (field === "reads") return cell(feature.allReads);
    if (field === "writes") return cell(feature.allWrites);
    return cell(feature[field]);
  }));
  return [columns, ...lines].map((line) => line.join(",") + "\r\n").join("");
}

export function save(name, type, text) {
  const link = document.createElement("a");
  link.href = URL.createObjectURL(new Blob([text], { type }));
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}
