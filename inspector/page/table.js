// A table of many rows of which only those in sight are in the document.

export const rowHeight = 30; // as in page.css
const beyond = 8; // rows kept ready above and below those in sight

function element(name, attributes, text = "") {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.textContent = text;
  return made;
}

export class Table {
  /**
   * @param columns  {id, title, isNumber, text(row), isChanged(row)} each.
   * @param on       {open(row, isByKey), flip(row), close(), sort(column)}: what the user asks for.
   */
  constructor(grid, columns, on) {
    this.grid = grid;
    this.columns = columns;
    this.on = on;
    this.rows = [];
    this.active = null; // where the keyboard is: a row
    this.selected = null; // whose details are shown
    this.space = grid.querySelector("#space");
    this.block = grid.querySelector("#rows");
    this.shown = []; // the elements of rows
    this.now = 0;
    grid.setAttribute("aria-colcount", columns.length);
    this.#makeHead();
    grid.addEventListener("scroll", () => this.#drawSoon(), { passive: true });
    grid.addEventListener("keydown", (event) => this.#press(event));
    this.block.addEventListener("click", (event) => {
      const row = this.rows[this.first + this.shown.indexOf(event.target.closest(".row"))];
      if (row) this.#go(row, () => this.on.open(row, false));
    });
    new ResizeObserver(() => this.#drawSoon()).observe(grid);
  }

  #makeHead() {
    const head = this.grid.querySelector("#head");
    this.columns.forEach((column, i) => {
      const cell = element("div", { role: "columnheader", class: `c-${column.id}`, "aria-colindex": i + 1 });
      if (column.isNumber) cell.classList.add("number");
      const button = element("button", { type: "button" }, column.title);
      button.addEventListener("click", () => this.on.sort(column));
      cell.append(button);
      head.append(cell);
      column.head = cell;
    });
  }

  showSort(column, isDescending) {
    for (const one of this.columns)
      one.head.setAttribute("aria-sort", one !== column ? "none" : isDescending ? "descending" : "ascending");
  }

  setRows(rows) {
    this.rows = rows;
    this.grid.setAttribute("aria-rowcount", rows.length + 1);
    this.space.style.height = `${rows.length * rowHeight}px`;
    this.draw();
  }

  #drawSoon() {
    this.frame ??= requestAnimationFrame(() => this.draw());
  }

  /** Shows the rows in sight as they are now. */
  draw() {
    if (this.frame) cancelAnimationFrame(this.frame);
    this.frame = undefined;
    const inSight = Math.ceil(this.grid.clientHeight / rowHeight) + 2 * beyond;
    const last = Math.max(this.rows.length - inSight, 0);
    this.first = Math.min(Math.max(Math.floor(this.grid.scrollTop / rowHeight) - beyond, 0), last);
    const count = Math.min(inSight, this.rows.length);
    while (this.shown.length < count) this.#addElement();
    while (this.shown.length > count) this.shown.pop().remove();
    this.block.style.transform = `translateY(${this.first * rowHeight}px)`;
    this.shown.forEach((made, i) => this.#fill(made, this.rows[this.first + i], this.first + i));
    const isActiveShown = this.shown.some((made) => made.row === this.active);
    if (isActiveShown) this.grid.setAttribute("aria-activedescendant", `row-${this.active.id}`);
    else this.grid.removeAttribute("aria-activedescendant");
  }

  #addElement() {
    const made = element("div", { role: "row", class: "row" });
    this.columns.forEach((column, i) => {
      const cell = element("div", { role: "gridcell", class: `c-${column.id}`, "aria-colindex": i + 1 });
      if (column.isNumber) cell.classList.add("number");
      made.append(cell);
    });
    this.shown.push(made);
    this.block.append(made);
  }

  #fill(made, row, index) {
    const isOther = made.row !== row;
    made.row = row;
    made.id = `row-${row.id}`;
    made.setAttribute("aria-rowindex", index + 2);
    made.setAttribute("aria-selected", row === this.selected);
    made.classList.toggle("active", row === this.active);
    this.columns.forEach((column, i) => {
      const cell = made.children[i];
      const text = column.text(row);
      if (cell.textContent !== text) {
        cell.textContent = text;
        cell.title = text;
      }
      if (column.isChanged) {
        cell.classList.toggle("changed", column.isChanged(row));
        // Of a change in the last second; another feature that comes into sight here has not changed.
        const isFresh = row.lastChange !== null && this.now - row.lastChange < 1000;
        if (isOther || !isFresh) cell.classList.remove("flash");
        if (isFresh) cell.classList.add("flash");
      }
    });
  }

  #go(row, then) {
    this.active = row;
    const top = this.rows.indexOf(row) * rowHeight;
    const height = this.grid.clientHeight - rowHeight; // less the head
    if (top < this.grid.scrollTop) this.grid.scrollTop = top;
    else if (top + rowHeight > this.grid.scrollTop + height) this.grid.scrollTop = top + rowHeight - height;
    this.draw();
    then?.();
  }

  #press(event) {
    if (event.target !== this.grid || event.altKey || event.ctrlKey || event.metaKey) return;
    const at = this.rows.indexOf(this.active);
    const page = Math.max(Math.floor(this.grid.clientHeight / rowHeight) - 2, 1);
    const to = {
      ArrowDown: at + 1, ArrowUp: Math.max(at - 1, 0), PageDown: Math.max(at, 0) + page, PageUp: at - page,
      Home: 0, End: this.rows.length - 1,
    }[event.key];
    if (to !== undefined && this.rows.length > 0) this.#go(this.rows[Math.min(Math.max(to, 0), this.rows.length - 1)]);
    else if (event.key === "Enter" && at >= 0) this.on.open(this.active, true);
    else if (event.key === " " && at >= 0) this.on.flip(this.active);
    else if (event.key === "Escape") this.on.close();
    else return;
    event.preventDefault();
  }
}
