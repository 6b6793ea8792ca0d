"use strict";

/*
 * What every part of the page is made with. Texts become text nodes, never markup: a device chose some of them.
 */

/** An element; `attributes` whose value is undefined are left out. */
function make(tag, attributes = {}, ...children) {
  const element = tag === "svg" || tag === "path" || tag === "line" || tag === "rect"
    ? document.createElementNS("http://www.w3.org/2000/svg", tag)
    : document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (value !== undefined) {
      element.setAttribute(name, value);
    }
  }
  element.append(...children);
  return element;
}

/** A copy of what a template holds. */
function part(id) {
  return document.getElementById(id).content.firstElementChild.cloneNode(true);
}

function plural(count, noun) {
  return `${count.toLocaleString("en")} ${noun}${count === 1 ? "" : "s"}`;
}

/**
 * One stop of the Tab key for a whole list, in which the arrow keys move: of the elements only the one that was used
 * last can be reached with Tab.
 */
function rove(container, elements, onFocus = () => {}) {
  if (elements.length === 0) {
    return;
  }
  const indexes = new Map(elements.map((element, index) => [element, index]));
  let current = 0;
  const setStop = (index) => {
    elements[current].tabIndex = -1;
    current = index;
    elements[current].tabIndex = 0;
  };
  elements.forEach((element) => { element.tabIndex = -1; });
  setStop(0);
  container.addEventListener("focusin", (event) => {
    const index = indexes.get(event.target);
    if (index !== undefined) {
      setStop(index);
      onFocus(index);
    }
  });
  container.addEventListener("keydown", (event) => {
    const target = {
      ArrowDown: current + 1,
      ArrowRight: current + 1,
      ArrowUp: current - 1,
      ArrowLeft: current - 1,
      Home: 0,
      End: elements.length - 1,
    }[event.key];
    if (target !== undefined && !event.ctrlKey && !event.altKey) {
      event.preventDefault();
      elements[Math.min(Math.max(target, 0), elements.length - 1)].focus();
    }
  });
}

/* The tip: what is pointed at or focused, in full. */

const tip = document.getElementById("tip");

function showTip(element, lines) {
  tip.replaceChildren(...lines.filter((line) => line !== "").map((line) => make("div", {}, line)));
  tip.hidden = false;
  const box = element.getBoundingClientRect();
  const room = document.documentElement.clientWidth - tip.offsetWidth - 8;
  const isBelow = box.bottom + tip.offsetHeight + 8 < window.innerHeight;
  tip.style.left = `${Math.max(8, Math.min(box.left, room)) + window.scrollX}px`;
  tip.style.top = `${(isBelow ? box.bottom + 6 : box.top - tip.offsetHeight - 6) + window.scrollY}px`;
}

function hideTip() {
  tip.hidden = true;
}
