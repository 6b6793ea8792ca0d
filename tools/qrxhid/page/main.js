"use strict";

/* Puts the page together. */

function inputSection() {
  const section = part("input-part");
  const all = seriesOf();
  const signals = [...all.values()].flatMap(signalsOf);
  const length = events.seconds[events.count - 1] - events.seconds[0];
  section.querySelector(".about").textContent = `${plural(events.count, "report")} in ${length.toFixed(3)} s`;
  addChoice(section, new PlotBoard(section, signals));
  new ReportTable(section, all);
  return section;
}

function noInput() {
  const why = device.isLive ? "This is a device as it stood there: record some input to see values over time."
    : "This recording has no input.";
  return make("section", {id: "input-section"}, make("h2", {}, "Input"), make("p", {}, why));
}

/** By default as the system has it; the button goes over to the other one. */
function addTheme() {
  const button = document.getElementById("theme");
  const system = window.matchMedia("(prefers-color-scheme: dark)");
  const isDark = () => (document.documentElement.dataset.theme ?? (system.matches ? "dark" : "light")) === "dark";
  const label = () => { button.textContent = isDark() ? "Light" : "Dark"; };
  button.addEventListener("click", () => {
    document.documentElement.dataset.theme = isDark() ? "light" : "dark";
    label();
  });
  system.addEventListener("change", label);
  label();
}

function addParts() {
  document.getElementById("parts").append(...[...document.querySelectorAll("main > section")].map((section) =>
    make("a", {href: `#${section.id}`}, section.querySelector("h2").textContent)));
}

function showPage() {
  document.title = `${device.name} (${device.ids})`;
  document.getElementById("name").textContent = device.name;
  document.getElementById("subtitle").textContent = device.ids;
  document.getElementById("foot").textContent = `Made by ${device.program}`;
  document.getElementById("content").append(deviceSection(), ...device.interfaces.map(interfaceSection),
    events.count === 0 ? noInput() : inputSection());
  addTheme();
  addParts();
  if (events.count > 0) {
    moment.set(0, false);
  }
  requestAnimationFrame(() => performance.mark("shown"));
}

showPage();
