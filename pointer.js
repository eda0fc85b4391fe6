'use strict';

const { AsyncResource } = require('node:async_hooks');
const { EventEmitter } = require('node:events');
const { pointerEvents } = require('./lib/pointer_events.js');

// ---- the one native capture of this environment ------------------------------------------------------------------------

// Any capture object can end the capture that runs, and the collection of one does. So there is one here, made by the
// first start and kept for good.
let hardware;
let capture;

// The streams that run. They are held here: one that nobody else refers to goes on until it is stopped.
const running = new Set();

// Who hears of an event, in order; collected anew after every change.
let motionListeners = null;
let buttonsListeners = null;

function listenersChanged() {
  motionListeners = null;
  buttonsListeners = null;
}

const registrations = (name) =>
  [...running].flatMap((stream) =>
    stream.rawListeners(name).map((bound) => bound.registration ?? new Registration(stream, name, bound)),
  );

const onMotion = (event) => deliver((motionListeners ??= registrations('motion')), event);
const onButtons = (event) => deliver((buttonsListeners ??= registrations('buttons')), event);

function deliver(listeners, event) {
  for (let index = 0; index < listeners.length; ++index) {
    const registration = listeners[index];
    const { stream, listener, resource } = registration;
    if (!stream.capturing) continue; // a listener before this one has stopped it
    if (registration.once && !registration.use()) continue;
    try {
      resource.runInAsyncScope(listener, stream, event);
    } catch (error) {
      // The native module drops what its callbacks throw. So it is thrown once more where nobody catches it, when the
      // events at hand are delivered.
      resource.runInAsyncScope(process.nextTick, process, rethrow, error);
    }
  }
}

function rethrow(error) {
  throw error;
}

function prepare() {
  hardware ??= require('./index.js').hardware; // not before: loading it may throw
  hardware.getButtonState(1); // throws after shutdown(), which releases this object but not its captures
  capture ??= hardware.capturePointer();
  if (capture === undefined) throw new Error('There is no memory for a capture object.'); // which the log knows
}

function begin() {
  capture.setMotionEventCallback(onMotion);
  capture.setButtonsEventCallback(onButtons);
  capture.stopCapturing(); // while another object captures, a start silently does nothing
  capture.startCapturing();
  watch();
}

function end() {
  clearInterval(watchTimer);
  capture.stopCapturing();
}

// Capture objects of the application's own can end the capture without a word, as can their collection. To start it
// again does nothing while it runs.
const WATCH_INTERVAL = 1000;
let watchTimer = null;
const watchResource = new AsyncResource('ZebbridgePointerWatch'); // a timer keeps the context that it was made in

function watch() {
  watchTimer = watchResource.runInAsyncScope(
    setInterval,
    null,
    () => {
      try {
        capture.startCapturing();
      } catch (error) {
        for (const stream of [...running]) stream[kFail](error);
      }
    },
    WATCH_INTERVAL,
  );
}

// ---- streams -------------------------------------------------------------------------------------------------------------

const kFail = Symbol('fail');

// A listener as it was added: it is called in the context of that moment, and no more than once if it was added so.
class Registration {
  used = false;
  resource = new AsyncResource('ZebbridgePointerListener');

  constructor(stream, name, listener, once = false) {
    this.stream = stream;
    this.name = name;
    this.listener = listener;
    this.once = once;
    // What the emitter keeps. It finds a listener by this property, as it does with wrappers of its own.
    this.bound = (...values) => {
      if (once && !this.use()) return undefined;
      return this.resource.runInAsyncScope(listener, stream, ...values);
    };
    this.bound.listener = listener;
    this.bound.registration = this;
  }

  // Takes a listener for one event out. Tells whether it is still to be called.
  use() {
    if (this.used) return false;
    this.used = true;
    this.stream.removeListener(this.name, this.bound);
    return true;
  }
}

// What is no function is refused by the emitter.
const bind = (stream, name, listener, once) =>
  typeof listener === 'function' ? new Registration(stream, name, listener, once).bound : listener;

class PointerStream extends EventEmitter {
  #capturing = false;
  #ends = new Set(); // of the loops over its events

  get capturing() {
    return this.#capturing;
  }

  start() {
    if (this.#capturing) return this;
    prepare();
    if (running.size === 0) begin();
    running.add(this);
    this.#capturing = true;
    listenersChanged();
    return this;
  }

  stop() {
    this.#stop();
    return this;
  }

  events(options) {
    return pointerEvents(this, this.#ends, options);
  }

  on(name, listener) {
    return this.#changed(super.on(name, bind(this, name, listener)));
  }

  addListener(name, listener) {
    return this.on(name, listener);
  }

  prependListener(name, listener) {
    return this.#changed(super.prependListener(name, bind(this, name, listener)));
  }

  once(name, listener) {
    return this.#changed(super.on(name, bind(this, name, listener, true)));
  }

  prependOnceListener(name, listener) {
    return this.#changed(super.prependListener(name, bind(this, name, listener, true)));
  }

  removeListener(name, listener) {
    return this.#changed(super.removeListener(name, listener));
  }

  off(name, listener) {
    return this.removeListener(name, listener);
  }

  removeAllListeners(...names) {
    return this.#changed(super.removeAllListeners(...names));
  }

  // The capture cannot go on. Who loops over the events is told there; nobody's error is the application's.
  [kFail](error) {
    const isLooped = this.#ends.size > 0;
    this.#stop(error);
    if (!isLooped || this.listenerCount('error') > 0) process.nextTick(() => this.emit('error', error));
  }

  #stop(error) {
    if (!this.#capturing) return;
    this.#capturing = false;
    running.delete(this);
    listenersChanged();
    if (running.size === 0) end();
    for (const endLoop of [...this.#ends]) endLoop(error);
  }

  #changed(result) {
    if (this.#capturing) listenersChanged();
    return result;
  }
}

// For `using`.
Object.defineProperty(PointerStream.prototype, Symbol.dispose, {
  value: function dispose() {
    this.stop();
  },
  writable: true,
  configurable: true,
});

module.exports = { PointerStream };
