"use strict";

/* The map of a report: its bits in rows, a coloured box for each value. */

const isNarrow = window.matchMedia("(max-width: 640px)");

/** How many bits a row has: four bytes, two on a narrow screen, and no more than there are. */
function bitsOfRow(report) {
  return Math.min(isNarrow.matches ? 16 : 32, 8 * report.bytes);
}

/** What fits into a box of a few bits. */
function shortName(name, size) {
  const number = /^Button (\d+)$/.exec(name);
  if (number !== null) {
    return number[1];
  }
  const kLettersOfBit = 1.4;
  if (name.length <= Math.max(3, size * kLettersOfBit)) {
    return name;
  }
  const initials = name.split(/[^\p{L}\p{N}]+/u).map((word) => word.slice(0, 1)).join("");
  return size >= 4 ? name : initials.slice(0, 3);
}

function cellName(face, cell) {
  if (cell.field === undefined) {
    return cell.isNumber ? "Report number" : "Padding";
  }
  if (cell.usage === undefined) {
    return cell.field.count === 1 ? "Array" : `Array [${cell.index}]`;
  }
  return fullNameOf(face, cell.usage) + repeatText(cell);
}

function placeText(cell) {
  const bit = cell.bit % 8;
  return `byte ${Math.floor(cell.bit / 8)}${bit === 0 ? "" : "." + bit}, ${plural(cell.size, "bit")}`;
}

/** What the field can say. */
function rangeText(face, field) {
  const words = [`${field.minimum} .. ${field.maximum}`];
  if (field.isArray) {
    const [first] = field.usages;
    const last = field.usages[field.usages.length - 1];
    words.push(`shows ${fullNameOf(face, first[0])} .. ${nameOf(face, last[1])}`);
  }
  if (field.scale !== null) {
    words.push(`${valueText(field, field.minimum)} .. ${valueText(field, field.maximum)}`);
  }
  const marks = {isRelative: "relative", hasNull: "null state", isConstant: "constant"};
  return [...words, ...Object.keys(marks).filter((mark) => field[mark]).map((mark) => marks[mark])].join(", ");
}

/** Whether the report that is looked at is one of these. */
function isCurrent(face, report) {
  return moment.event !== undefined && device.interfaces[events.interfaceOf(moment.event)] === face &&
    reportOf(face, events.bytesOf(moment.event)) === report;
}

/** The value of a cell in the report that is looked at; empty where it has none. */
function currentText(face, report, cell) {
  if (cell.field === undefined || cell.field.isConstant || !isCurrent(face, report)) {
    return "";
  }
  const value = valueAt(cell.field, events.bytesOf(moment.event), cell.bit);
  if (value === undefined) {
    return "";
  }
  if (!cell.field.isArray) {
    return valueText(cell.field, value);
  }
  const usage = usageShown(cell.field, value);
  return usage === undefined ? String(value) : nameOf(face, usage);
}

function cellTip(face, report, cell) {
  const current = currentText(face, report, cell);
  return [cellName(face, cell), placeText(cell), cell.field === undefined ? "" : rangeText(face, cell.field),
    current === "" ? "" : `now ${current}`];
}

/** The boxes of a cell: one for each row that it reaches into. Only the first can be focused. */
function boxesOf(face, cell, width) {
  const boxes = [];
  for (let bit = cell.bit; bit < cell.bit + cell.size;) {
    const row = Math.floor(bit / width);
    const end = Math.min(cell.bit + cell.size, (row + 1) * width);
    const kind = cell.field === undefined || cell.field.isConstant ? "padding" : `colour-${cell.colour}`;
    const box = make("div", {class: `box ${kind}${cell.size === 1 ? " single" : ""}`});
    // The first column and the first row have numbers.
    box.style.gridColumn = `${bit % width + 2} / span ${end - bit}`;
    box.style.gridRow = String(row + 2);
    boxes.push(box);
    bit = end;
  }
  const name = cell.field === undefined ? (cell.isNumber ? "ID" : "") : cell.usage === undefined
    ? `[${cell.index}]` : nameOf(face, cell.usage) + repeatText(cell);
  boxes[0].append(make("span", {class: "box-name"}, shortName(name, cell.size)), make("span", {class: "box-value"}));
  return boxes;
}

function addNumbers(grid, bits, width) {
  for (let byte = 0; byte < width / 8; ++byte) {
    const head = make("div", {class: "byte", "aria-hidden": "true"}, (bits > width ? "+" : "byte ") + byte);
    head.style.gridColumn = `${byte * 8 + 2} / span 8`;
    head.style.gridRow = "1";
    grid.append(head);
  }
  for (let row = 0; row * width < bits && bits > width; ++row) {
    const number = make("div", {class: "offset", "aria-hidden": "true"}, String(row * width / 8));
    number.style.gridRow = String(row + 2);
    grid.append(number);
  }
}

function fillMap(face, links, report, grid) {
  const width = bitsOfRow(report);
  grid.style.gridTemplateColumns = `2.2em repeat(${width}, minmax(0, 1fr))`;
  // Many rows are mostly buffers, of which one sees more when they are low.
  const kManyRows = 8;
  grid.classList.toggle("dense", report.bits > kManyRows * width);
  grid.style.maxWidth = `${2.2 + width * 2.6}em`;
  const stops = [];
  for (const cell of report.cells) {
    const boxes = boxesOf(face, cell, width);
    boxes.forEach((box) => links.addCell(cell, box));
    const [first, ...rest] = boxes;
    first.setAttribute("role", "option");
    first.setAttribute("aria-selected", "false");
    first.setAttribute("aria-label", cellTip(face, report, cell).filter((line) => line !== "").join(", "));
    boxes.forEach((box) => links.connect(box, () => links.ofCells([cell]), ({items}) => {
      showTip(box, cellTip(face, report, cell));
      links.revealMainItem(items);
    }));
    rest.forEach((box) => box.setAttribute("aria-hidden", "true"));
    stops.push(first);
    grid.append(...boxes);
  }
  addNumbers(grid, Math.min(8 * report.bytes, kDrawnBits), width);
  rove(grid, stops);
}

/** The values of the report that is looked at, in the boxes. */
function showValues(face, links, report) {
  for (const cell of report.cells) {
    const [first] = links.cellElements.get(cell);
    first.querySelector(".box-value").textContent = currentText(face, report, cell);
  }
}

function mapOf(face, links, report) {
  const grid = make("div", {class: "map", role: "listbox", "aria-label": `Bits of ${report.text}`,
    "aria-orientation": "horizontal"});
  const figure = make("figure", {}, make("figcaption", {}, report.text), grid);
  fillMap(face, links, report, grid);
  if (report.bits > kDrawnBits) {
    figure.append(make("p", {class: "hint"}, `The bytes from ${kDrawnBits / 8} on are not drawn.`));
  }
  isNarrow.addEventListener("change", () => {
    report.cells.forEach((cell) => links.cellElements.delete(cell));
    const fresh = grid.cloneNode(false);
    figure.replaceChild(fresh, figure.querySelector(".map"));
    fillMap(face, links, report, fresh);
    showValues(face, links, report);
  });
  let hasValues = false;
  moment.listeners.push(() => {
    if (hasValues || isCurrent(face, report)) {
      showValues(face, links, report);
      hasValues = isCurrent(face, report);
    }
  });
  return figure;
}
