"use strict";

/* The report descriptor, item by item. */

function itemElement(item) {
  const meaning = item.meaning === "" ? "" : ` (${item.meaning})`;
  const text = make("span", {class: "item-text"}, make("b", {}, item.name), meaning);
  const kIndent = 1.1;
  text.style.paddingInlineStart = `${Math.min(item.depth, 16) * kIndent}em`;
  return make("div", {class: "item", role: "option", "aria-selected": "false"},
    make("span", {class: "item-offset"}, String(item.offset)),
    make("span", {class: "item-bytes"}, item.bytes), text);
}

/** What an item does, for the tip. */
function itemTip(item, cells) {
  return [item.name + (item.meaning === "" ? "" : ": " + item.meaning), `byte ${item.offset}: ${item.bytes}`,
    cells.length === 0 ? "has no part in any report" : `has a part in ${plural(cells.length, "value")}`];
}

function fillItems(face, links, list) {
  face.items.forEach((item, index) => {
    const element = itemElement(item);
    links.itemElements.push(element);
    links.connect(element, () => links.ofItem(index), ({cells}) => showTip(element, itemTip(item, cells)));
    list.append(element);
  });
  rove(list, links.itemElements);
  links.revealMainItem = (items) => {
    const main = [...items.keys()].find((item) => face.items[item].declares !== undefined);
    if (main !== undefined) {
      reveal(list, links.itemElements[main]);
    }
  };
}

/** Scrolls the list alone: the page must stay where it is while somebody points at it. */
function reveal(list, element) {
  const top = element.offsetTop - list.offsetTop;
  if (top < list.scrollTop || top + element.offsetHeight > list.scrollTop + list.clientHeight) {
    list.scrollTop = top - list.clientHeight / 2;
  }
}

function interfaceSection(face) {
  const section = part("interface-part");
  const links = new Links(face);
  section.id = `interface-${face.number}`;
  const heading = section.querySelector("h2");
  heading.id = `${section.id}-heading`;
  heading.textContent = `Interface ${face.number}${face.purpose === "" ? "" : ": " + face.purpose}`;
  section.setAttribute("aria-labelledby", heading.id);
  section.querySelector(".about").textContent = [face.name, plural(face.reports.length, "report"),
    `${plural(face.descriptorBytes, "byte")} of report descriptor`].filter((text) => text !== "").join(" \u00b7 ");
  fillItems(face, links, section.querySelector(".items"));
  section.querySelector(".maps").append(...face.reports.map((report) => mapOf(face, links, report)));
  section.querySelector(".fields").append(treeOf(face, links));
  return section;
}
