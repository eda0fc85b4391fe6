'use strict';

const { checkedOptions, invalidOption } = require('./options.js');

const CHANNEL = 'Microsoft-Windows-AppXDeploymentServer/Operational';

// The numbers of each level. 0 means that the provider set no level; the Windows Event Viewer shows it as information.
const LEVELS = { critical: [1], error: [2], warning: [3], information: [4, 0], verbose: [5] };

const OPTIONS = ['since', 'until', 'levels', 'limit', 'order', 'channel', 'query'];

function time(name, value) {
  if (value === undefined) return undefined;
  const isTime = value instanceof Date || ['number', 'string'].includes(typeof value);
  const date = new Date(isTime ? value : NaN);
  if (Number.isNaN(date.getTime())) throw invalidOption(name, 'a time: a Date, milliseconds or an ISO text');
  return date;
}

// Checks that an option is text that XML can hold.
function text(name, value) {
  if (
    typeof value !== 'string' ||
    value === '' ||
    /[^\t\n\r\x20-\ud7ff\ue000-\ufffd\u{10000}-\u{10ffff}]/u.test(value)
  ) {
    throw invalidOption(name, 'text that is not empty and has no control characters');
  }
  return value;
}

// The native method passes only ASCII on unchanged.
const inAscii = (xml) => xml.replace(/[^\0-\x7f]/gu, (character) => `&#x${character.codePointAt(0).toString(16)};`);

const ENTITIES = { '&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;', "'": '&apos;' };
const escaped = (value) => inAscii(value.replace(/[&<>"']/g, (character) => ENTITIES[character]));

function filter({ since, until, levels = ['critical', 'error'] }) {
  if (!Array.isArray(levels) || levels.length === 0 || !levels.every((level) => Object.hasOwn(LEVELS, level))) {
    throw invalidOption('levels', `an array with at least one of ${Object.keys(LEVELS).join(', ')}`);
  }
  const numbers = [...new Set(levels)].flatMap((level) => LEVELS[level]);
  const first = time('since', since);
  const last = time('until', until);
  if (first > last) throw invalidOption('until', 'no earlier than "since"');
  const times = [
    ['>=', first],
    ['<=', last],
  ]
    .filter(([, value]) => value !== undefined)
    .map(([comparison, value]) => `@SystemTime${comparison}'${value.toISOString()}'`);
  const conditions = [`(${numbers.map((number) => `Level=${number}`).join(' or ')})`];
  if (times.length > 0) conditions.push(`TimeCreated[${times.join(' and ')}]`);
  return `*[System[${conditions.join(' and ')}]]`;
}

// Turns the options of updateErrors into { query, order, limit }. Throws a TypeError if an option is wrong.
function eventQuery(options) {
  const { limit = Infinity, order = 'newest', channel = CHANNEL, query, ...rest } = checkedOptions(options, OPTIONS);
  if (limit !== Infinity && (!Number.isSafeInteger(limit) || limit < 1)) {
    throw invalidOption('limit', 'a whole number above 0');
  }
  if (order !== 'newest' && order !== 'oldest') throw invalidOption('order', '"newest" or "oldest"');
  text('channel', channel);
  if (query === undefined) return { query: structured(channel, filter(rest)), order, limit };

  const other = ['since', 'until', 'levels'].find((name) => rest[name] !== undefined);
  if (other !== undefined) throw invalidOption(other, 'left out where there is a query');
  text('query', query);
  if (!query.trimStart().startsWith('<')) return { query: structured(channel, query), order, limit };
  if (options.channel !== undefined) throw invalidOption('channel', 'left out where the query names its own');
  return { query: inAscii(query), order, limit };
}

const structured = (channel, path) =>
  `<QueryList><Query Id="0" Path="${escaped(channel)}">` +
  `<Select Path="${escaped(channel)}">${escaped(path)}</Select></Query></QueryList>`;

module.exports = { eventQuery };
