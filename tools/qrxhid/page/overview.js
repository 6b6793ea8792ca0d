"use strict";

/* What the device is: facts, and of each interface the tree of its fields. */

function deviceSection() {
  const section = part("device-part");
  for (const [word, text] of device.facts) {
    section.querySelector("dl").append(make("div", {}, make("dt", {}, word), make("dd", {}, text)));
  }
  return section;
}

/** The cells of a row of the tree. */
function cellsOfRow(face, row) {
  if (row.bit === undefined) {
    return [];
  }
  const report = face.reports.find((one) => one.type === row.type && one.id === row.id);
  return report === undefined ? []
    : report.cells.filter((cell) => cell.field !== undefined && cell.bit >= row.bit && cell.bit < row.bit + row.bits);
}

/** The colours by which a row is found in the map. */
function swatches(cells) {
  const kMost = 4;
  const colours = [...new Set(cells.map((cell) => cell.colour))].slice(0, kMost);
  return make("span", {class: "swatches", "aria-hidden": "true"},
    ...colours.map((number) => make("span", {class: `swatch colour-${number}`})));
}

function rowContent(row, cells) {
  const kColumns = ["report", "place", "size", "range", "details"];
  return make("div", {class: "row"}, make("span", {class: "row-name"}, swatches(cells), row.name),
    ...kColumns.map((column) => make("span", {class: column}, row[column])));
}

function treeItem(face, links, node, level) {
  const item = make("li", {role: "treeitem", "aria-level": level});
  if (node.elements === undefined) {
    const cells = cellsOfRow(face, node);
    item.append(rowContent(node, cells));
    item.setAttribute("aria-selected", "false");
    links.rows.push({element: item, cells});
    links.connect(item, () => links.ofCells(cells));
  } else {
    item.setAttribute("aria-expanded", "true");
    item.append(make("div", {class: "row collection"}, make("span", {class: "row-name"}, node.name)),
      make("ul", {role: "group"}, ...node.elements.map((one) => treeItem(face, links, one, level + 1))));
    item.firstElementChild.addEventListener("click", () => toggle(item));
  }
  return item;
}

function isFolded(item) {
  return item.getAttribute("aria-expanded") === "false";
}

function toggle(item, folds = !isFolded(item)) {
  if (item.hasAttribute("aria-expanded")) {
    item.setAttribute("aria-expanded", String(!folds));
  }
}

/** The items that no folded one hides. */
function shownItems(tree) {
  return [...tree.querySelectorAll("[role=treeitem]")].filter((item) =>
    item.parentElement.closest("[aria-expanded=false]") === null);
}

/** Where a key leads from an item of the tree; folds and unfolds on the way. */
function treeTarget(tree, item, key) {
  const shown = shownItems(tree);
  const at = shown.indexOf(item);
  switch (key) {
  case "ArrowDown":
    return shown[at + 1];
  case "ArrowUp":
    return shown[at - 1];
  case "Home":
    return shown[0];
  case "End":
    return shown[shown.length - 1];
  case "ArrowRight":
    if (!isFolded(item)) {
      return item.querySelector("[role=treeitem]") ?? item;
    }
    toggle(item, false);
    return item;
  case "ArrowLeft":
    if (item.getAttribute("aria-expanded") !== "true") {
      return item.parentElement.closest("[role=treeitem]") ?? item;
    }
    toggle(item, true);
    return item;
  default:
    return undefined;
  }
}

function addTreeKeys(tree) {
  const stop = (item) => {
    tree.querySelectorAll("[tabindex='0']").forEach((one) => { one.tabIndex = -1; });
    item.tabIndex = 0;
  };
  tree.querySelectorAll("[role=treeitem]").forEach((item) => { item.tabIndex = -1; });
  stop(tree.querySelector("[role=treeitem]"));
  tree.addEventListener("focusin", (event) => stop(event.target));
  tree.addEventListener("keydown", (event) => {
    if (event.ctrlKey || event.altKey) {
      return;
    }
    if (event.key === "Enter" || event.key === " ") {
      event.preventDefault();
      toggle(event.target);
      return;
    }
    const target = treeTarget(tree, event.target, event.key);
    if (target !== undefined) {
      event.preventDefault();
      target.focus();
    }
  });
}

function treeOf(face, links) {
  if (face.tree.length === 0) {
    return make("p", {}, "No fields.");
  }
  const tree = make("ul", {role: "tree", "aria-label": `Fields of interface ${face.number}`},
    ...face.tree.map((node) => treeItem(face, links, node, 1)));
  addTreeKeys(tree);
  return tree;
}
