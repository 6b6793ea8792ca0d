"use strict";

/*
 * What belongs together in one interface: cells of reports, items of the descriptor, rows of the tree. Pointing at one
 * lights up the others; a click or Enter keeps them lit.
 */
class Links {
  constructor(face) {
    this.face = face;
    /** By their cells: the elements that show them. */
    this.cellElements = new Map();
    /** By the indexes of the items. */
    this.itemElements = [];
    this.rows = [];
    this.kept = undefined;
    this.lit = [];
    /** By their cells: the indexes of the items that declare their bits; undefined for a report's number. */
    this.mainItems = new Map();
    for (const report of face.reports) {
      report.cells.forEach((cell) => this.mainItems.set(cell, this.findMainItem(report, cell)));
    }
  }

  addCell(cell, element) {
    this.cellElements.set(cell, [...(this.cellElements.get(cell) ?? []), element]);
  }

  findMainItem(report, cell) {
    const index = this.face.items.findIndex(({declares}) => declares !== undefined && declares.type === report.type &&
      declares.id === report.id && declares.bit <= cell.bit && cell.bit < declares.bit + declares.bits);
    return index < 0 ? undefined : index;
  }

  reaches(item, main) {
    return this.face.items[item].reach.some(([first, last]) => first <= main && main <= last);
  }

  /** Whether the item stands for this main item alone, as a usage before it does. */
  isOnlyOf(item, main) {
    return this.face.items[item].reach.every(([first, last]) => first === main && last === main);
  }

  /** Whether the item has a part in the cell: one that names usages of the main item, only in the cells of these. */
  isPartOf(item, cell, main) {
    const {usages} = this.face.items[item];
    const isOfAll = usages === undefined || cell.usage === undefined || !this.isOnlyOf(item, main);
    return this.reaches(item, main) && (isOfAll || (usages[0] <= cell.usage && cell.usage <= usages[1]));
  }

  /** What belongs to these cells. */
  ofCells(cells) {
    const items = new Map();
    for (const cell of cells) {
      const main = this.mainItems.get(cell);
      for (let item = 0; main !== undefined && item < this.face.items.length; ++item) {
        if (this.isPartOf(item, cell, main)) {
          items.set(item, this.isOnlyOf(item, main) || items.get(item) === true);
        }
      }
    }
    return {cells, items};
  }

  /** What belongs to an item. */
  ofItem(item) {
    const cells = [];
    for (const [cell, main] of this.mainItems) {
      if (main !== undefined && this.isPartOf(item, cell, main)) {
        cells.push(cell);
      }
    }
    return {cells, items: new Map([[item, true]])};
  }

  /** Lights up what belongs together until it is ended or replaced. */
  light({cells, items}) {
    this.clear();
    const add = (element, name) => {
      element.classList.add(name);
      this.lit.push([element, name]);
    };
    for (const cell of cells) {
      (this.cellElements.get(cell) ?? []).forEach((element) => add(element, "lit"));
    }
    for (const [item, isStrong] of items) {
      add(this.itemElements[item], isStrong ? "lit" : "near");
    }
    const set = new Set(cells);
    for (const row of this.rows) {
      if (row.cells.some((cell) => set.has(cell))) {
        add(row.element, "lit");
      }
    }
  }

  clear() {
    this.lit.forEach(([element, name]) => element.classList.remove(name));
    this.lit = [];
  }

  /** At the end of pointing: back to what is kept. */
  rest() {
    hideTip();
    if (this.kept === undefined) {
      this.clear();
    } else {
      this.light(this.kept.what);
    }
  }

  keep(element, what) {
    const isSame = this.kept !== undefined && this.kept.element === element;
    this.release();
    if (!isSame) {
      this.kept = {element, what};
      element.setAttribute("aria-selected", "true");
      this.light(what);
    }
  }

  release() {
    if (this.kept !== undefined) {
      this.kept.element.setAttribute("aria-selected", "false");
      this.kept = undefined;
    }
    this.rest();
  }

  /** Makes an element light up what `what()` gives while it is pointed at or focused. */
  connect(element, what, onLight = () => {}) {
    const start = () => {
      const together = what();
      this.light(together);
      onLight(together);
    };
    element.addEventListener("pointerenter", start);
    element.addEventListener("focus", start);
    element.addEventListener("pointerleave", () => this.rest());
    element.addEventListener("blur", () => this.rest());
    element.addEventListener("click", () => this.keep(element, what()));
    element.addEventListener("keydown", (event) => {
      if (event.key === "Enter" || event.key === " ") {
        event.preventDefault();
        this.keep(element, what());
      } else if (event.key === "Escape") {
        this.release();
        this.clear();
      }
    });
  }
}
