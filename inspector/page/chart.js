// A chart of a feature's values, one line for each place, and of its read rate since the page was opened.

const width = 340;
const height = 150;
const left = 30;
const right = 300;
const top = 8;
const bottom = 132;

function draw(svg, name, attributes, text) {
  const made = document.createElementNS("http://www.w3.org/2000/svg", name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  if (text !== undefined) made.textContent = text;
  svg.append(made);
}

const shortNumber = (number) => new Intl.NumberFormat("en", { notation: "compact", maximumFractionDigits: 1 }).format(number);

/** Points of a line from numbers at times; a step line keeps a number until the next one. */
function line(points, now, x, y, isStep) {
  const parts = [];
  points.forEach(({ time, number }, i) => {
    if (isStep && i > 0) parts.push(`${x(time)},${y(points[i - 1].number)}`);
    parts.push(`${x(time)},${y(number)}`);
  });
  parts.push(`${x(now)},${y(points.at(-1).number)}`);
  return parts.join(" ");
}

export function drawChart(svg, feature, from, now) {
  svg.replaceChildren();
  const history = feature.history;
  const span = Math.max(now - from, 1000);
  const values = history.flatMap((point) => point.values);
  const least = Math.min(0, ...values);
  const most = Math.max(1, ...values);
  const mostRate = Math.max(1, ...history.map((point) => point.rate));
  const x = (time) => (left + ((Math.max(time, from) - from) / span) * (right - left)).toFixed(1);
  const scale = (low, high) => (number) => (bottom - ((number - low) / (high - low)) * (bottom - top)).toFixed(1);

  draw(svg, "line", { class: "axis", x1: left, y1: bottom, x2: right, y2: bottom });
  draw(svg, "text", { x: left - 4, y: top + 8, "text-anchor": "end" }, shortNumber(most));
  draw(svg, "text", { x: left - 4, y: bottom, "text-anchor": "end" }, shortNumber(least));
  draw(svg, "text", { x: right + 4, y: top + 8 }, `${shortNumber(mostRate)}/s`);
  draw(svg, "text", { x: right + 4, y: bottom }, "0/s");
  draw(svg, "text", { x: left, y: height - 5 }, `${Math.round(span / 1000)} s ago`);
  draw(svg, "text", { x: right, y: height - 5, "text-anchor": "end" }, "now");
  const rates = history.map(({ time, rate }) => ({ time, number: rate }));
  draw(svg, "polyline", { class: "rate", points: line(rates, now, x, scale(0, mostRate), false) });
  feature.values.forEach((value, place) => {
    // An instance has points from its beginning on only.
    const steps = history.filter((point) => place < point.values.length)
      .map((point) => ({ time: point.time, number: point.values[place] }));
    steps.push({ time: now, number: value });
    draw(svg, "polyline", { class: "value", points: line(steps, now, x, scale(least, most), true) });
  });
  svg.setAttribute("viewBox", `0 0 ${width} ${height}`);
  svg.setAttribute("aria-label",
    `Value between ${Math.min(...values)} and ${Math.max(...values)}, now ${feature.values.join(", ")}; ` +
    `up to ${mostRate.toFixed(1)} reads per second, now ${feature.readRate.toFixed(1)}`);
}
