'use strict';

const { DOMParser } = require('@xmldom/xmldom');

const LEVELS = ['information', 'critical', 'error', 'warning', 'information', 'verbose'];

function parse(xml) {
  let isDamaged = false;
  const onError = (level) => {
    isDamaged ||= level !== 'warning';
  };
  try {
    const { documentElement } = new DOMParser({ onError }).parseFromString(xml, 'text/xml');
    return isDamaged ? null : documentElement;
  } catch {
    return null;
  }
}

const children = (element) => Array.from(element?.childNodes ?? []).filter(({ nodeType }) => nodeType === 1);
const child = (element, name) => children(element).find(({ localName }) => localName === name);
const textOf = (element) => element?.textContent ?? '';

// A field of EventData has its name in an attribute, or has no name. The fields of UserData are the provider's own
// elements.
function dataOf(event) {
  const fields = children(child(event, 'EventData'))
    .filter(({ localName }) => localName === 'Data')
    .map((field, index) => [field.getAttribute('Name') || String(index), textOf(field)]);
  const own = children(children(child(event, 'UserData'))[0]).map((field) => [field.localName, textOf(field)]);
  return Object.fromEntries([...fields, ...own]);
}

// Turns the XML of an event record into an object. If the XML is damaged, only `xml` holds information.
function eventRecord(xml) {
  const event = parse(xml);
  const system = child(event, 'System');
  const time = new Date(child(system, 'TimeCreated')?.getAttribute('SystemTime') || NaN);
  const level = textOf(child(system, 'Level')).trim();
  const data = dataOf(event);
  const message = textOf(child(child(event, 'RenderingInfo'), 'Message')).trim();
  return {
    time: Number.isNaN(time.getTime()) ? null : time,
    id: Number(textOf(child(system, 'EventID'))),
    level: LEVELS[level] ?? level,
    provider: child(system, 'Provider')?.getAttribute('Name') ?? '',
    text:
      message ||
      Object.values(data)
        .filter((value) => value !== '')
        .join('; '),
    data,
    xml,
  };
}

module.exports = { eventRecord };
