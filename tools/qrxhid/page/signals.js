"use strict";

/* What can be plotted: the values of the input reports over time. */

/** The first position whose number is above `limit`; numbers ascend. */
function positionAfter(numbers, limit) {
  let low = 0, high = numbers.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (numbers[middle] <= limit) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

/** All that came of one report: a series for each of its values has the same times. */
class Series {
  constructor(face, report) {
    this.face = face;
    this.report = report;
    this.events = [];
  }

  finish() {
    this.seconds = Float64Array.from(this.events, (event) => events.seconds[event]);
    this.changed = this.findChanges();
  }

  /** By byte: the bits that are not the same in all of them. */
  findChanges() {
    const first = events.bytesOf(this.events[0]);
    const changed = new Uint8Array(first.length);
    for (const event of this.events) {
      const bytes = events.bytesOf(event);
      for (let i = 0; i < changed.length; ++i) {
        changed[i] |= bytes[i] ^ first[i];
      }
    }
    return changed;
  }

  hasChanges(cell) {
    for (let bit = cell.bit; bit < cell.bit + cell.size; ++bit) {
      if ((this.changed[bit >> 3] >> (bit & 7) & 1) !== 0) {
        return true;
      }
    }
    return false;
  }

  /** The position of the last of them that is not after an event; -1 before the first. */
  positionAt(event) {
    return positionAfter(this.events, event) - 1;
  }
}

/** The value of a cell over time: a number for each event of its series, NaN where there is none. */
class Signal {
  constructor(series, cell) {
    this.series = series;
    this.cell = cell;
    this.field = cell.field;
    this.colour = cell.colour;
    this.isBit = cell.size === 1;
    this.isRelative = cell.field.isRelative;
    this.name = nameOf(series.face, cell.usage) + repeatText(cell);
    this.fullName = cellName(series.face, cell);
    this.varies = series.hasChanges(cell);
  }

  get values() {
    this.kept ??= Float64Array.from(this.series.events, (event) => {
      const value = valueAt(this.field, events.bytesOf(event), this.cell.bit);
      return value === undefined || isNull(this.field, value) ? NaN : Number(value);
    });
    return this.kept;
  }

  textAt(position) {
    const value = valueAt(this.field, events.bytesOf(this.series.events[position]), this.cell.bit);
    return value === undefined ? "" : valueText(this.field, value);
  }

  get range() {
    this.keptRange ??= this.findRange();
    return this.keptRange;
  }

  /** What is declared, or what was seen where that is little of it: it would be a flat line. */
  findRange() {
    const kLeastShare = 0.2;
    const [low, high] = this.findSeen();
    const [least, most] = [Number(this.field.minimum), Number(this.field.maximum)];
    const isLittle = high - low < kLeastShare * (most - least) && most - least > 16;
    return isLittle || low < least || high > most || least === most ? [low, high] : [least, most];
  }

  findSeen() {
    let low = Infinity, high = -Infinity;
    for (const value of this.values) {
      low = value < low ? value : low;
      high = value > high ? value : high;
    }
    if (this.isRelative || low > high) {
      low = Math.min(low, 0);
      high = Math.max(high, 0);
    }
    return low === high ? [low - 1, high + 1] : [low, high];
  }
}

/** Whether an array shows a usage, over time: one key of a keyboard. */
class Selection {
  constructor(series, field, usage, values) {
    this.series = series;
    this.field = field;
    this.colour = field.cells.length === 0 ? 0 : field.cells[0].colour;
    this.isBit = true;
    this.isRelative = false;
    this.name = nameOf(series.face, usage);
    this.fullName = fullNameOf(series.face, usage);
    this.varies = true;
    this.values = values;
    this.range = [0, 1];
  }

  textAt(position) {
    return String(this.values[position]);
  }
}

/** A lane for each usage that the array shows at some time. */
function selectionsOver(series, field) {
  const kMostLanes = 256;
  const lanes = new Map();
  series.events.forEach((event, position) => {
    for (const usage of selectionsOf(field, events.bytesOf(event)).keys()) {
      if (!lanes.has(usage) && lanes.size < kMostLanes) {
        lanes.set(usage, new Float64Array(series.events.length));
      }
      lanes.get(usage)?.fill(1, position, position + 1);
    }
  });
  return [...lanes].map(([usage, values]) => new Selection(series, field, usage, values));
}

function seriesOf() {
  const all = new Map();
  for (let event = 0; event < events.count; ++event) {
    const face = device.interfaces[events.interfaceOf(event)];
    const report = reportOf(face, events.bytesOf(event));
    if (report === undefined) {
      continue;
    }
    if (!all.has(report)) {
      all.set(report, new Series(face, report));
    }
    all.get(report).events.push(event);
  }
  all.forEach((series) => series.finish());
  return all;
}

function signalsOf(series) {
  const signals = [];
  for (const field of series.report.fields.filter((one) => !one.isConstant)) {
    if (field.isArray) {
      signals.push(...selectionsOver(series, field));
    } else {
      signals.push(...field.cells.filter((cell) => cell.size <= 64).map((cell) => new Signal(series, cell)));
    }
  }
  return signals;
}
