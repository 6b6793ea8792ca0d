"use strict";

/* Values over time: a plot below the other, all with the same time. */

/** The width of a plot in its own units; more points than these cannot be told apart. */
const kPlotWidth = 1000;
const kPlotHeight = 100;

/** The part of the time that is shown. */
class View {
  constructor() {
    this.first = events.seconds[0];
    // The last report counts as long as the others do on average: at the very edge it would not be seen.
    const length = events.seconds[events.count - 1] - this.first;
    const kLeast = 1e-3;
    this.last = this.first + Math.max(kLeast, length + length / Math.max(1, events.count - 1));
    this.listeners = [];
    this.from = this.first;
    this.to = this.last;
  }

  set(from, to) {
    const kShortest = 1e-5;
    const length = Math.min(Math.max(to - from, kShortest), this.last - this.first);
    this.from = Math.min(Math.max(from, this.first), this.last - length);
    this.to = this.from + length;
    this.listeners.forEach((listener) => listener());
  }

  showAll() {
    this.set(this.first, this.last);
  }

  /** By a factor, around a time that stays where it is. */
  zoom(factor, around) {
    this.set(around - (around - this.from) * factor, around + (this.to - around) * factor);
  }

  move(share) {
    const way = (this.to - this.from) * share;
    this.set(this.from + way, this.to + way);
  }

  /** Into the middle. */
  reveal(second) {
    const length = this.to - this.from;
    this.set(second - length / 2, second + length / 2);
  }

  shareOf(second) {
    return (second - this.from) / (this.to - this.from);
  }

  /** The positions in a series of what can be seen, the value before the beginning included. */
  visible(series) {
    return [Math.max(0, positionAfter(series.seconds, this.from) - 1), positionAfter(series.seconds, this.to)];
  }
}

/** Bars where the value is not 0. One that is shorter than a unit has one all the same. */
function barsOf(signal, view) {
  const [begin, end] = view.visible(signal.series);
  const {seconds} = signal.series;
  const isOn = new Uint8Array(kPlotWidth + 1);
  for (let i = begin; i < end; ++i) {
    if (signal.values[i] > 0) {
      const until = i + 1 < seconds.length ? seconds[i + 1] : view.last;
      const left = Math.max(0, Math.floor(view.shareOf(seconds[i]) * kPlotWidth));
      const right = Math.min(kPlotWidth, Math.ceil(view.shareOf(until) * kPlotWidth));
      isOn.fill(1, left, Math.max(right, left + 1));
    }
  }
  let path = "";
  for (let x = 0; x < kPlotWidth; ++x) {
    if (isOn[x] === 1) {
      const left = x;
      while (x < kPlotWidth && isOn[x] === 1) {
        ++x;
      }
      path += `M${left} ${kPlotHeight}V10H${x}V${kPlotHeight}Z`;
    }
  }
  return path;
}

function heightOf(signal) {
  const [low, high] = signal.range;
  return (value) => (kPlotHeight - 4 - (value - low) / (high - low) * (kPlotHeight - 8)).toFixed(1);
}

/** Each change is a step; changes that are closer than a unit become a line from the lowest to the highest. */
function stepsOf(signal, view) {
  const [begin, end] = view.visible(signal.series);
  const {seconds} = signal.series;
  const y = heightOf(signal);
  let path = "";
  let isDown = false;
  for (let i = begin; i < end;) {
    const x = Math.max(0, Math.floor(view.shareOf(seconds[i]) * kPlotWidth));
    let low = Infinity, high = -Infinity, lastValue = NaN;
    const firstValue = signal.values[i];
    for (; i < end && Math.max(0, Math.floor(view.shareOf(seconds[i]) * kPlotWidth)) === x; ++i) {
      lastValue = signal.values[i];
      low = lastValue < low ? lastValue : low;
      high = lastValue > high ? lastValue : high;
    }
    if (isDown) {
      path += `H${x}`;
    }
    if (low <= high) {
      path += isDown ? "" : `M${x} ${y(Number.isNaN(firstValue) ? low : firstValue)}`;
      path += low === high ? `V${y(low)}` : `V${y(low)}V${y(high)}V${y(Number.isNaN(lastValue) ? high : lastValue)}`;
    }
    isDown = !Number.isNaN(lastValue);
  }
  return isDown ? path + `H${Math.min(kPlotWidth, view.shareOf(view.last) * kPlotWidth)}` : path;
}

/** Changes have no duration: a stroke from 0 for each. */
function strokesOf(signal, view) {
  const [begin, end] = view.visible(signal.series);
  const {seconds} = signal.series;
  const lows = new Map(), highs = new Map();
  for (let i = begin; i < end; ++i) {
    const value = signal.values[i];
    const x = Math.floor(view.shareOf(seconds[i]) * kPlotWidth);
    if (x >= 0 && !Number.isNaN(value)) {
      lows.set(x, Math.min(lows.get(x) ?? 0, value));
      highs.set(x, Math.max(highs.get(x) ?? 0, value));
    }
  }
  const y = heightOf(signal);
  let path = `M0 ${y(0)}H${kPlotWidth}`;
  for (const [x, low] of lows) {
    path += `M${x} ${y(low)}V${y(highs.get(x))}`;
  }
  return path;
}

class Plot {
  constructor(signal, view) {
    this.signal = signal;
    this.view = view;
    this.path = make("path", {class: signal.isBit ? "bars" : "line", "vector-effect": "non-scaling-stroke"});
    this.now = make("span", {class: "plot-now"});
    const [low, high] = signal.range;
    const number = (value) => String(Number(value.toPrecision(6)));
    this.element = make("div", {class: `plot ink-${signal.colour}${signal.isBit ? " lane" : ""}`},
      make("div", {class: "plot-name", title: signal.fullName}, make("span", {}, signal.name), this.now),
      make("div", {class: "plot-area"},
        make("svg", {viewBox: `0 0 ${kPlotWidth} ${kPlotHeight}`, preserveAspectRatio: "none", role: "img",
          "aria-label": `${signal.fullName}: ${number(low)} to ${number(high)}`}, this.path)),
      make("div", {class: "plot-range", "aria-hidden": "true"}, ...signal.isBit ? []
        : [make("span", {}, number(high)), make("span", {}, number(low))]));
  }

  draw() {
    const draw = this.signal.isBit ? barsOf : this.signal.isRelative ? strokesOf : stepsOf;
    this.path.setAttribute("d", draw(this.signal, this.view));
  }

  showNow(event) {
    const position = event === undefined ? -1 : this.signal.series.positionAt(event);
    this.now.textContent = position < 0 ? "" : this.signal.textAt(position);
  }
}

/** Round times, about as many as asked for. */
function ticksOf(from, to, count) {
  const rough = (to - from) / count;
  const power = 10 ** Math.floor(Math.log10(rough));
  const step = [1, 2, 5, 10].map((factor) => factor * power).find((one) => one >= rough) ?? 10 * power;
  const digits = Math.max(0, -Math.floor(Math.log10(step)));
  const ticks = [];
  for (let i = Math.ceil(from / step); i * step <= to; ++i) {
    ticks.push({second: i * step, text: `${(i * step).toFixed(digits)} s`});
  }
  return ticks;
}

/** All plots, their time axis, and what pointer and keys do with them. */
class PlotBoard {
  constructor(section, signals) {
    this.box = section.querySelector(".plots");
    this.span = section.querySelector(".span");
    this.view = new View();
    this.signals = signals;
    this.axis = make("div", {class: "axis", "aria-hidden": "true"});
    this.cursor = make("div", {class: "cursor", hidden: ""});
    this.selection = make("div", {class: "selection", hidden: ""});
    this.overlay = make("div", {class: "overlay"}, this.cursor, this.selection);
    this.view.listeners.push(() => this.draw());
    moment.listeners.push((event, asks) => this.showMoment(event, asks));
    this.addButtons(section);
    this.addPointer();
    this.addKeys();
  }

  show(chosen) {
    this.plots = chosen.map((signal) => new Plot(signal, this.view));
    this.box.replaceChildren(...this.plots.map((plot) => plot.element), this.axis, this.overlay);
    this.draw();
  }

  draw() {
    const {view} = this;
    this.plots.forEach((plot) => plot.draw());
    const kTicks = isNarrow.matches ? 3 : 8;
    this.axis.replaceChildren(...ticksOf(view.from, view.to, kTicks).map(({second, text}) => {
      const tick = make("span", {}, text);
      tick.style.left = `${view.shareOf(second) * 100}%`;
      return tick;
    }));
    const count = positionAfter(events.seconds, view.to) - positionAfter(events.seconds, view.from - 1e-9);
    this.span.textContent = `${view.from.toFixed(3)} s to ${view.to.toFixed(3)} s, ${plural(count, "report")}`;
    this.showMoment(moment.event, false);
  }

  showMoment(event, asks) {
    if (event === undefined) {
      return;
    }
    if (asks && !this.isVisible(events.seconds[event])) {
      // Draws, and so comes back here.
      this.view.reveal(events.seconds[event]);
      return;
    }
    const share = this.view.shareOf(events.seconds[event]);
    this.cursor.hidden = share < 0 || share > 1;
    this.cursor.style.left = `${share * 100}%`;
    this.plots.forEach((plot) => plot.showNow(event));
  }

  addButtons(section) {
    const middle = () => moment.event !== undefined && this.isVisible(events.seconds[moment.event])
      ? events.seconds[moment.event] : (this.view.from + this.view.to) / 2;
    const kFactor = 0.5;
    this.zoomIn = () => this.view.zoom(kFactor, middle());
    this.zoomOut = () => this.view.zoom(1 / kFactor, middle());
    section.querySelector(".zoom-in").addEventListener("click", this.zoomIn);
    section.querySelector(".zoom-out").addEventListener("click", this.zoomOut);
    section.querySelector(".zoom-whole").addEventListener("click", () => this.view.showAll());
  }

  isVisible(second) {
    return second >= this.view.from && second <= this.view.to;
  }

  secondAt(clientX) {
    const box = this.overlay.getBoundingClientRect();
    const share = Math.min(Math.max((clientX - box.left) / box.width, 0), 1);
    return this.view.from + share * (this.view.to - this.view.from);
  }

  eventAt(clientX) {
    return Math.max(0, positionAfter(events.seconds, this.secondAt(clientX)) - 1);
  }

  addPointer() {
    let start;
    const isDrag = (event) => start !== undefined && Math.abs(event.clientX - start) > 4;
    this.overlay.addEventListener("pointerdown", (event) => {
      start = event.clientX;
      this.overlay.setPointerCapture(event.pointerId);
    });
    this.overlay.addEventListener("pointermove", (event) => {
      if (isDrag(event)) {
        this.showSelection(start, event.clientX);
      } else {
        moment.set(this.eventAt(event.clientX), false);
      }
    });
    this.overlay.addEventListener("pointerup", (event) => {
      if (isDrag(event)) {
        const [from, to] = [this.secondAt(start), this.secondAt(event.clientX)].sort((left, right) => left - right);
        this.view.set(from, to);
      } else {
        moment.set(this.eventAt(event.clientX), true);
      }
      this.selection.hidden = true;
      start = undefined;
    });
    this.overlay.addEventListener("pointercancel", () => {
      this.selection.hidden = true;
      start = undefined;
    });
    this.overlay.addEventListener("dblclick", () => this.view.showAll());
    // The wheel alone moves the page, as everywhere.
    this.overlay.addEventListener("wheel", (event) => {
      if (event.ctrlKey) {
        event.preventDefault();
        this.view.zoom(event.deltaY > 0 ? 1.25 : 0.8, this.secondAt(event.clientX));
      }
    }, {passive: false});
  }

  showSelection(left, right) {
    const box = this.overlay.getBoundingClientRect();
    this.selection.hidden = false;
    this.selection.style.left = `${Math.min(left, right) - box.left}px`;
    this.selection.style.width = `${Math.abs(right - left)}px`;
  }

  step(way) {
    const next = moment.event === undefined ? 0 : moment.event + way;
    moment.set(Math.min(Math.max(next, 0), events.count - 1), true);
  }

  addKeys() {
    const actions = {
      "ArrowRight": () => this.step(1),
      "ArrowLeft": () => this.step(-1),
      "Home": () => this.step(-events.count),
      "End": () => this.step(events.count),
      "PageUp": () => this.view.move(-0.5),
      "PageDown": () => this.view.move(0.5),
      "+": this.zoomIn,
      "=": this.zoomIn,
      "-": this.zoomOut,
      "Escape": () => this.view.showAll(),
    };
    this.box.addEventListener("keydown", (event) => {
      const action = actions[event.key];
      if (action !== undefined && !event.ctrlKey && !event.altKey) {
        event.preventDefault();
        action();
      }
    });
  }
}

/** Which values are plotted: at first those that change, as far as they can be taken in. */
function addChoice(section, board) {
  const kMostAtFirst = 24;
  const kMostOffered = 1024;
  const chosen = new Set(board.signals.filter((signal) => signal.varies).slice(0, kMostAtFirst));
  const offered = board.signals.slice(0, kMostOffered);
  const summary = section.querySelector(".choice summary");
  const show = () => {
    board.show(offered.filter((signal) => chosen.has(signal)));
    summary.textContent = `Choose values: ${chosen.size} of ${board.signals.length} shown` +
      (board.signals.some((signal) => !signal.varies) ? "; at first those that change" : "");
  };
  section.querySelector(".choices").append(...offered.map((signal) => {
    const box = make("input", {type: "checkbox"});
    box.checked = chosen.has(signal);
    box.addEventListener("change", () => {
      chosen[box.checked ? "add" : "delete"](signal);
      show();
    });
    return make("label", {}, box, signal.fullName);
  }));
  show();
}
