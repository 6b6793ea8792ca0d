"use strict";

/* The input reports as a table. Only a page of it is in the document, however long the recording is. */

const kRowsOfPage = 50;
const kShownBytes = 64;
const kFewValues = 4;
const kShownValues = 16;

function bytesText(bytes) {
  const shown = [...bytes.subarray(0, kShownBytes)].map((byte) => byte.toString(16).padStart(2, "0")).join(" ");
  return bytes.length > kShownBytes ? `${shown} ... (${plural(bytes.length, "byte")})` : shown;
}

/** What tells the values of two reports apart. */
function placeKey({bit, usage}) {
  return `${bit} ${usage}`;
}

/**
 * The values by name, those that are not as in the report before in bold; of many only these, and of a first report
 * those that are not 0.
 */
function valueWords(face, values, before) {
  const known = before && new Map(before.map((one) => [placeKey(one), one.value]));
  const isNew = (one) => known ? known.get(placeKey(one)) !== one.value : Number(one.value) !== 0;
  const told = values.length <= kFewValues ? values : values.filter((one) => one.isSelection || isNew(one));
  const words = told.slice(0, kShownValues).flatMap((one) => {
    const text = nameOf(face, one.usage) + (one.isSelection ? "" : ` ${valueText(one.field, one.value)}`);
    return [make(isNew(one) ? "b" : "span", {class: "value"}, text), " "];
  });
  const left = values.length - Math.min(told.length, kShownValues);
  const others = told.length > kShownValues ? "more" : known ? "as before" : "at 0";
  return left === 0 ? words : [...words, make("span", {class: "value others"}, `${left} ${others}`)];
}

class ReportTable {
  constructor(section, all) {
    this.section = section;
    this.all = all;
    this.body = section.querySelector("tbody");
    this.table = section.querySelector("table");
    this.hasInterfaces = device.interfaces.length > 1;
    this.hasNumbers = device.interfaces.some((face) => face.numbersReports);
    this.pages = Math.ceil(events.count / kRowsOfPage);
    this.stop = 0;
    const heads = ["No.", "Time", ...this.hasInterfaces ? ["Interface"] : [], ...this.hasNumbers ? ["Report"] : [],
      "Bytes", "Values"];
    section.querySelector("thead tr").append(...heads.map((text) => make("th", {scope: "col"}, text)));
    this.table.setAttribute("aria-rowcount", events.count + 1);
    this.addButtons();
    this.addKeys();
    moment.listeners.push((event, asks) => this.showMoment(event, asks));
    this.showPage(0);
  }

  rowOf(event) {
    const face = device.interfaces[events.interfaceOf(event)];
    const bytes = events.bytesOf(event);
    const report = reportOf(face, bytes);
    const series = this.all.get(report);
    const position = series === undefined ? 0 : series.positionAt(event);
    const before = position > 0 ? valuesOf(face, events.bytesOf(series.events[position - 1])) : undefined;
    const values = report === undefined ? ["not declared"] : valueWords(face, valuesOf(face, bytes), before);
    const cells = [String(event + 1), secondsText(event), ...this.hasInterfaces ? [String(face.number)] : [],
      ...this.hasNumbers ? [report === undefined ? "?" : String(report.id)] : []].map((text) => make("td", {}, text));
    const row = make("tr", {tabindex: "-1", "aria-rowindex": event + 2, "aria-selected": "false"}, ...cells,
      make("td", {class: bytes.length > 16 ? "bytes long" : "bytes"}, bytesText(bytes)),
      make("td", {class: "values"}, ...values));
    row.addEventListener("click", () => moment.set(event, true));
    row.addEventListener("focus", () => this.setStop(event));
    return row;
  }

  showPage(page) {
    this.page = Math.min(Math.max(page, 0), this.pages - 1);
    const begin = this.page * kRowsOfPage;
    const end = Math.min(begin + kRowsOfPage, events.count);
    const rows = [];
    for (let event = begin; event < end; ++event) {
      rows.push(this.rowOf(event));
    }
    this.body.replaceChildren(...rows);
    const [first, last, all] = [begin + 1, end, events.count].map((number) => number.toLocaleString("en"));
    this.section.querySelector(".place").textContent = `Reports ${first} to ${last} of ${all}`;
    this.disable(".first, .previous", this.page === 0);
    this.disable(".next, .last", this.page === this.pages - 1);
    this.stop = Math.min(Math.max(this.stop, begin), end - 1);
    this.rowAt(this.stop).tabIndex = 0;
    this.mark(moment.event);
  }

  disable(buttons, isDisabled) {
    this.section.querySelectorAll(buttons).forEach((button) => { button.disabled = isDisabled; });
  }

  rowAt(event) {
    return this.body.children[event - this.page * kRowsOfPage];
  }

  setStop(event) {
    const before = this.rowAt(this.stop);
    if (before !== undefined) {
      before.tabIndex = -1;
    }
    this.stop = event;
    this.rowAt(event).tabIndex = 0;
  }

  mark(event) {
    this.body.querySelectorAll("[aria-selected=true]").forEach((row) => row.setAttribute("aria-selected", "false"));
    if (event !== undefined) {
      this.rowAt(event)?.setAttribute("aria-selected", "true");
    }
  }

  showMoment(event, asks) {
    const page = Math.floor(event / kRowsOfPage);
    if (asks && page !== this.page) {
      this.stop = event;
      this.showPage(page);
    } else {
      this.mark(event);
    }
  }

  addButtons() {
    const targets = {
      first: () => 0,
      previous: () => this.page - 1,
      next: () => this.page + 1,
      last: () => this.pages - 1,
    };
    for (const [name, target] of Object.entries(targets)) {
      this.section.querySelector(`.${name}`).addEventListener("click", () => this.showPage(target()));
    }
  }

  addKeys() {
    this.table.addEventListener("keydown", (event) => {
      const target = {
        ArrowDown: this.stop + 1,
        ArrowUp: this.stop - 1,
        PageDown: this.stop + kRowsOfPage,
        PageUp: this.stop - kRowsOfPage,
        Home: 0,
        End: events.count - 1,
      }[event.key];
      if (target !== undefined && !event.ctrlKey && !event.altKey) {
        event.preventDefault();
        const next = Math.min(Math.max(target, 0), events.count - 1);
        moment.set(next, true);
        this.rowAt(next).focus();
      }
    });
  }
}
