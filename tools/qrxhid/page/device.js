"use strict";

/*
 * What qrxhid wrote of the device (PageData.cpp):
 *
 *   program, name, ids   texts for the head of the page
 *   facts                [[word, text], ...]
 *   isLive               a device of a machine, without input
 *   interfaces           [{
 *     number, name, purpose, descriptorBytes
 *     numbersReports     reports begin with a byte that tells their number
 *     tree               [{name, elements}] for a collection, [{name, report, place, size, range, details, type, id,
 *                        bit, bits}] for fields in a row; without "bit" they have no place in the report
 *     reports            [{type, id, bits, bytes, text}]
 *     fields             [{type, id, bit, size, count, usages: [[first, last], ...], isArray, isConstant, isRelative,
 *                        isSigned, hasNull, minimum, maximum, scale: [factor, base] or null, unit}]
 *     names              [[usage, name, name with its page], ...]
 *     items              [{offset, bytes, depth, name, meaning, reach: [[first, last], ...], usages: [first, last],
 *                        declares: {type, id, bit, bits}}]
 *   }]
 *   events               Base64, see eventsOf
 *
 * Bits count from the first bit of the report as it travels, its number included.
 */

function bytesOfBase64(text) {
  const binary = atob(text);
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < binary.length; ++i) {
    bytes[i] = binary.charCodeAt(i);
  }
  return bytes;
}

/** Takes the numbers of eventsOf one after the other. */
class NumberReader {
  constructor(bytes) {
    this.bytes = bytes;
    this.at = 0;
  }

  next() {
    let number = 0;
    for (let factor = 1; ; factor *= 128) {
      const group = this.bytes[this.at++];
      number += (group & 127) * factor;
      if (group < 128) {
        return number;
      }
    }
  }
}

/**
 * The input reports in the order of their times. For each: the microseconds since the one before, the index of its
 * interface, its length (each in groups of 7 bits, the lowest first), then its bytes, which stay where they are.
 */
function eventsOf(text) {
  const reader = new NumberReader(bytesOfBase64(text));
  const seconds = [], interfaces = [], starts = [], ends = [];
  for (let us = 0; reader.at < reader.bytes.length;) {
    us += reader.next();
    seconds.push(us / 1e6);
    interfaces.push(reader.next());
    const length = reader.next();
    starts.push(reader.at);
    reader.at += length;
    ends.push(reader.at);
  }
  return {
    count: seconds.length,
    seconds: Float64Array.from(seconds),
    interfaceOf: (event) => interfaces[event],
    bytesOf: (event) => reader.bytes.subarray(starts[event], ends[event]),
  };
}

const device = JSON.parse(document.getElementById("device").textContent);
const events = eventsOf(device.events);
