'use strict';

const { abortError, checkedOptions, checkSignal, invalidOption } = require('./options.js');

const DEFAULT_LIMIT = 1024;

// Events that the loop has not asked for yet. A full buffer drops its oldest event and adds it to the sum of those that
// it dropped.
class Buffer {
  #limit;
  #events = [];
  #dropped = null;

  constructor(limit) {
    this.#limit = limit;
  }

  push(event) {
    if (this.#events.length === this.#limit) this.#drop(this.#events.shift());
    this.#events.push(event);
  }

  // The next event; undefined if there is none. If events before it were dropped, a 'dropped' item comes first.
  take() {
    const dropped = this.#dropped;
    this.#dropped = null;
    return dropped ?? this.#events.shift();
  }

  clear() {
    this.#events.length = 0;
    this.#dropped = null;
  }

  #drop(event) {
    const nothing = {
      type: 'dropped',
      motions: 0,
      transitions: 0,
      offset: { x: 0, y: 0 },
      left: 0,
      middle: 0,
      right: 0,
    };
    const sum = (this.#dropped ??= nothing);
    if (event.type === 'motion') {
      ++sum.motions;
      sum.offset.x += event.offset.x;
      sum.offset.y += event.offset.y;
    } else {
      ++sum.transitions;
      for (const button of ['left', 'middle', 'right']) sum[button] = event[button] || sum[button];
    }
  }
}

// The events of a stream for one loop. `ends` is the set of functions that the stream calls, with an error or nothing,
// when it stops.
function pointerEvents(stream, ends, options) {
  const { signal, limit = DEFAULT_LIMIT } = checkedOptions(options, ['signal', 'limit']);
  checkSignal(signal);
  if (!Number.isSafeInteger(limit) || limit < 1) throw invalidOption('limit', 'a whole number above 0');

  const buffer = new Buffer(limit);
  const waiting = []; // the pending promises of next()
  let ended = false;
  let failure; // what next() rejects with after all events have been taken
  let isAborted = false;

  const onMotion = (event) => push({ type: 'motion', ...event });
  const onButtons = (event) => push({ type: 'buttons', ...event });
  const onAbort = () => {
    if (isAborted) return;
    isAborted = true;
    buffer.clear();
    if (ended) failure = abortError(signal);
    else end(abortError(signal));
  };

  // Listen only while a next() is pending, so that a long-lived signal does not hold loops that are not waiting.
  const listenToSignal = () => {
    if (waiting.length > 0) signal?.addEventListener('abort', onAbort);
    else signal?.removeEventListener('abort', onAbort);
  };

  function push(event) {
    if (waiting.length === 0) return buffer.push(event);
    waiting.shift().resolve({ value: event, done: false });
    return listenToSignal();
  }

  // No more events will come. Those that have arrived can still be taken, and after them the error.
  function end(error) {
    if (ended) return;
    ended = true;
    ends.delete(end);
    stream.off('motion', onMotion).off('buttons', onButtons);
    if (error !== undefined && waiting.length > 0) waiting.shift().reject(error);
    else failure = error;
    for (const { resolve } of waiting.splice(0)) resolve({ value: undefined, done: true });
    listenToSignal();
  }

  stream.on('motion', onMotion).on('buttons', onButtons);
  ends.add(end);

  return {
    async next() {
      if (signal?.aborted) onAbort();
      const value = buffer.take();
      if (value !== undefined) return { value, done: false };
      if (failure !== undefined) {
        const error = failure;
        failure = undefined;
        throw error;
      }
      if (ended) return { value: undefined, done: true };
      return new Promise((resolve, reject) => {
        waiting.push({ resolve, reject });
        listenToSignal();
      });
    },

    async return(value) {
      isAborted = true; // an abort no longer matters to a loop that has been left
      buffer.clear();
      end();
      failure = undefined;
      return { value, done: true };
    },

    [Symbol.asyncIterator]() {
      return this;
    },
  };
}

module.exports = { pointerEvents };
