"use strict";

/*
 * The report that is looked at, one for the whole page: the maps show its values, the plots mark its time, the table
 * its row. Undefined until there is one.
 */
const moment = {
  event: undefined,
  listeners: [],

  /** `asks` is true where somebody chose this report, and not only passed over it. */
  set(event, asks) {
    if (event !== this.event || asks) {
      this.event = event;
      this.listeners.forEach((listener) => listener(event, asks));
    }
  },
};

function secondsText(event) {
  return `${events.seconds[event].toFixed(6)} s`;
}
