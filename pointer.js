'use strict';

const { AsyncResource } = require('node:async_hooks');
const { EventEmitter } = require('node:events');
const { pointerEvents } = require('./lib/pointer_events.js');

// ---- the one native capture of this environment ------------------------------------------------------------------------

// Any capture object can end the running capture, and garbage collection of any of them does end it. So all streams
// share one capture object, which the first start makes and which is then kept for good.
let hardware;
let capture;

// The running streams. This set holds them, so a stream that nothing else refers to runs until it is stopped.
const running = new Set();

// The listeners of each event, in order. Null after a change, until the next event rebuilds the list.
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
      // The native module drops what its callbacks throw. So throw it again, after the events at hand have been
      // delivered, where nothing catches it.
      resource.runInAsyncScope(process.nextTick, process, rethrow, error);
    }
  }
}

function rethrow(error) {
  throw error;
}

function prepare() {
  hardware ??= require('./index.js').hardware; // not earlier, because loading it may throw
  hardware.getButtonState(1); // throws after shutdown(), which releases this object but not its captures
  capture ??= hardware.capturePointer();
  if (capture === undefined) throw new Error('There is no memory for a capture object.'); // the native module logs why
}

function begin() {
  capture.setMotionEventCallback(onMotion);
  capture.setButtonsEventCallback(onButtons);
  capture.stopCapturing(); // because a start does nothing, silently, while another object captures
  capture.startCapturing();
  watch();
}

function end() {
  clearInterval(watchTimer);
  capture.stopCapturing();
}

// The application's own capture objects, and their garbage collection, can end the capture without notice. Starting it
// again restores it, and does nothing while it runs.
const WATCH_INTERVAL = 1000;
let watchTimer = null;
const watchResource = new AsyncResource('ZebbridgePointerWatch'); // because a timer keeps the context it was made in

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

// One added listener. It is called in the asynchronous context in which it was added, and only once if `once` says so.
class Registration {
  used = false;
  resource = new AsyncResource('ZebbridgePointerListener');

  constructor(stream, name, listener, once = false) {
    this.stream = stream;
    this.name = name;
    this.listener = listener;
    this.once = once;
    // What the emitter stores. It finds the listener by the property `listener`, as it does with its own wrappers.
    this.bound = (...values) => {
      if (once && !this.use()) return undefined;
      return this.resource.runInAsyncScope(listener, stream, ...values);
    };
    this.bound.listener = listener;
    this.bound.registration = this;
  }

  // Removes a listener for a single event. Returns false if the listener has already been called.
  use() {
    if (this.used) return false;
    this.used = true;
    this.stream.removeListener(this.name, this.bound);
    return true;
  }
}

// Passes values that are not functions on, because the emitter refuses them.
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

  // Called when the capture cannot be restarted. Loops get the error. 'error' is emitted if it has listeners, or if
  // there is no loop: then it becomes an uncaught exception.
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
