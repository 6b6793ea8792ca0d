"use strict";

/* From the bytes of a report to values, by the places that the library found. */

/** A number of `size` bits, at most 64, as BigInt where a Number would not be exact. */
function bitsAt(bytes, bit, size) {
  if (size > 32) {
    const high = bitsAt(bytes, bit + 32, size - 32);
    const low = bitsAt(bytes, bit, 32);
    return size > 53 ? BigInt(high) * 0x100000000n + BigInt(low) : high * 0x100000000 + low;
  }
  let number = 0;
  let factor = 1;
  for (let taken = 0; taken < size;) {
    const inByte = (bit + taken) & 7;
    const count = Math.min(8 - inByte, size - taken);
    number += ((bytes[(bit + taken) >> 3] >> inByte) & ((1 << count) - 1)) * factor;
    factor *= 1 << count;
    taken += count;
  }
  return number;
}

function signedOf(number, size) {
  if (typeof number === "bigint") {
    return BigInt.asIntN(size, number);
  }
  return number >= 2 ** (size - 1) ? number - 2 ** size : number;
}

/** The logical value at a place of a field; undefined where the report is too short for it. */
function valueAt(field, bytes, bit) {
  if (field.size > 64 || bit + field.size > bytes.length * 8) {
    return undefined;
  }
  const number = bitsAt(bytes, bit, field.size);
  return field.isSigned ? signedOf(number, field.size) : number;
}

/** Whether the device says with this value that it has none. */
function isNull(field, value) {
  return field.hasNull && (value < field.minimum || value > field.maximum);
}

/** The usage at a position among those of a field; undefined past the end. */
function usageAt(field, position) {
  for (const [first, last] of field.usages) {
    if (position <= last - first) {
      return first + Number(position);
    }
    position = Number(position) - (last - first + 1);
  }
  return undefined;
}

function usageCount(field) {
  return field.usages.reduce((sum, [first, last]) => sum + last - first + 1, 0);
}

/** The usage that an entry of an array shows; undefined for none. */
function usageShown(field, entry) {
  const usage = entry < field.minimum ? undefined : usageAt(field, Number(entry) - Number(field.minimum));
  // A usage with the number 0 is "nothing pressed".
  return usage === undefined || usage % 0x10000 === 0 ? undefined : usage;
}

/** The usages that an array shows in a report, each once, with the place of the entry that shows it. */
function selectionsOf(field, bytes) {
  const shown = new Map();
  for (let index = 0; index < field.count; ++index) {
    const bit = field.bit + index * field.size;
    const entry = valueAt(field, bytes, bit);
    if (entry === undefined) {
      break;
    }
    const usage = usageShown(field, entry);
    if (usage !== undefined && !shown.has(usage)) {
      shown.set(usage, bit);
    }
  }
  return shown;
}

/** The values of a report of an interface: [{usage, value, isNull, isSelection, bit, field}], by their places. */
function valuesOf(face, bytes) {
  const report = reportOf(face, bytes);
  const values = [];
  for (const field of report === undefined ? [] : report.fields) {
    if (field.isConstant) {
      continue;
    }
    if (field.isArray) {
      for (const [usage, bit] of selectionsOf(field, bytes)) {
        values.push({usage, value: 1, isNull: false, isSelection: true, bit, field});
      }
      continue;
    }
    for (const cell of field.cells) {
      const value = valueAt(field, bytes, cell.bit);
      if (value !== undefined) {
        values.push({usage: cell.usage, value, isNull: isNull(field, value), isSelection: false, bit: cell.bit, field});
      }
    }
  }
  return values;
}

/** The input report that these bytes are; undefined for one that is not declared. */
function reportOf(face, bytes) {
  const id = face.numbersReports ? bytes[0] : 0;
  return bytes.length === 0 ? undefined : face.inputReports.get(id);
}

/** "3 (135 deg)", "null" */
function valueText(field, value) {
  if (isNull(field, value)) {
    return `${value} (null)`;
  }
  if (field.scale === null && field.unit === "") {
    return String(value);
  }
  const measure = field.scale === null ? Number(value) : Number(value) * field.scale[0] + field.scale[1];
  return `${value} (${Number(measure.toPrecision(6))}${field.unit === "" ? "" : " " + field.unit})`;
}

/*
 * Cells: the places of a report, one for each value of a field and one for each run of bits that no field has. They are
 * what is drawn, pointed at, and plotted.
 */

function nameOf(face, usage) {
  return face.names.get(usage)?.name ?? "0x" + usage.toString(16).padStart(8, "0");
}

function fullNameOf(face, usage) {
  return face.names.get(usage)?.fullName ?? nameOf(face, usage);
}

/** Which of several values of one usage in a field: " [3]"; empty for the only one. */
function repeatText(cell) {
  const {cells} = cell.field;
  const first = cells.findIndex((one) => one.usage === cell.usage);
  const isAlone = cells[first + 1]?.usage !== cell.usage;
  return isAlone ? "" : ` [${cell.index - first}]`;
}

/** Reports of 65,535 bytes can be declared; what a page draws of one ends here. */
const kDrawnBits = 8 * 512;

function addCells(field) {
  const last = usageCount(field) - 1;
  for (let index = 0; index < field.count; ++index) {
    const bit = field.bit + index * field.size;
    if (bit >= kDrawnBits) {
      return;
    }
    const usage = field.isArray ? undefined : usageAt(field, Math.min(index, last));
    field.cells.push({field, index, bit, size: field.size, usage});
  }
}

/** The report's cells by their places, the bits between fields included. */
function cellsOf(report) {
  const cells = [];
  let next = 0;
  const fill = (end) => {
    if (end > next) {
      cells.push({field: undefined, index: 0, bit: next, size: end - next});
    }
  };
  if (report.id !== 0) {
    cells.push({field: undefined, isNumber: true, index: 0, bit: 0, size: 8});
    next = 8;
  }
  for (const cell of report.fields.flatMap((field) => field.cells).sort((left, right) => left.bit - right.bit)) {
    fill(cell.bit);
    cells.push(cell);
    next = Math.max(next, cell.bit + cell.size);
  }
  fill(Math.min(report.bits, kDrawnBits));
  return cells;
}

/** Colours go round; single bits side by side and values that share a usage have one. */
const kColours = 12;

function colour(report) {
  let next = 0;
  let before;
  for (const cell of report.cells) {
    if (cell.field === undefined) {
      continue;
    }
    const isAlike = before?.field === cell.field && (before.usage === cell.usage || cell.size === 1);
    cell.colour = isAlike ? before.colour : next++ % kColours;
    before = cell;
  }
}

function prepare(face) {
  face.names = new Map(face.names.map(([usage, name, fullName]) => [usage, {name, fullName}]));
  for (const field of face.fields) {
    field.cells = [];
    addCells(field);
  }
  for (const report of face.reports) {
    report.fields = face.fields.filter((field) => field.type === report.type && field.id === report.id);
    report.cells = cellsOf(report);
    colour(report);
  }
  face.inputReports = new Map(face.reports.filter((one) => one.type === "input").map((one) => [one.id, one]));
}

device.interfaces.forEach(prepare);
