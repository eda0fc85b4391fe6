/**
 * Raw pointer input for as many listeners as there are: a friendly face of `hardware.capturePointer()`.
 *
 * All streams of a thread share one native capture. The first start begins it, the last stop ends it. While it runs it is
 * held, so no garbage collection ends it, and it keeps the process alive.
 *
 * The module loads on every system. Where the native part is missing, `start()` throws what is wrong.
 *
 * @example
 * const { ButtonTransition } = require('zebbridge');
 * const { PointerStream } = require('zebbridge/pointer');
 *
 * const pointer = new PointerStream();
 * pointer.on('motion', ({ offset, screenPoint }) => console.log(offset, screenPoint));
 * pointer.on('buttons', ({ middle }) => {
 *     if (middle === ButtonTransition.Pressed) pointer.stop();
 * });
 * pointer.start();
 */

import { ButtonsEvent, ButtonTransition, MotionEvent, Point } from './index.js';

declare global {
  interface SymbolConstructor {
    // Known to every runtime that loads this module, but not to every compiler.
    readonly dispose: unique symbol;
  }
}

/** What each event brings to its listeners. All listeners of an event get the same object. */
export interface PointerEventMap {
  /** A motion of the mouse. */
  motion: MotionEvent;
  /** A press or release. For input that carries both, the motion comes first. */
  buttons: ButtonsEvent;
  /** The capture ended and cannot be begun again. The stream has stopped. Without a listener it is uncaught. */
  error: Error;
}

/** The part of an AbortSignal that is used. */
export interface PointerSignal {
  readonly aborted: boolean;
  readonly reason?: any;
  addEventListener(type: 'abort', listener: () => void): void;
  removeEventListener(type: 'abort', listener: () => void): void;
}

/** How a loop over a stream's events is to work. */
export interface PointerEventsOptions {
  /** Ends the loop with an error whose `name` is "AbortError", whose `code` is "ABORT_ERR" and whose `cause` is the reason. */
  signal?: PointerSignal | undefined;
  /** How many events wait for the loop at most, 1024 by default. When more come, the oldest are dropped. */
  limit?: number | undefined;
}

/** A motion, as a loop gets it. */
export interface MotionItem extends MotionEvent {
  type: 'motion';
}

/** A press or release, as a loop gets it. */
export interface ButtonsItem extends ButtonsEvent {
  type: 'buttons';
}

/** What a loop that was too slow has missed. It comes where the dropped events would have come. */
export interface DroppedItem {
  type: 'dropped';
  /** How many motions were dropped. */
  motions: number;
  /** The sum of their offsets. */
  offset: Point;
  /** How many presses and releases were dropped. */
  transitions: number;
  /** The last of them, per button; 0 for a button that had none. */
  left: ButtonTransition;
  middle: ButtonTransition;
  right: ButtonTransition;
}

/** What a loop over a stream's events gets. */
export type PointerItem = MotionItem | ButtonsItem | DroppedItem;

/**
 * A stream of pointer events: an `EventEmitter` of Node.js, with all its methods.
 *
 * - Listeners run on the thread that made the stream. Each event goes to every listener of every stream that runs, in
 *   the order in which the streams were started, before the next event.
 * - What a listener throws is an uncaught exception of the application, thrown when the events at hand are delivered. No
 *   other listener and no event is lost by it. What an `async` listener throws is an unhandled rejection.
 * - A listener runs in the asynchronous context in which it was added: `AsyncLocalStorage` and `async_hooks` see that.
 */
export class PointerStream {
  constructor();

  /** Whether the stream is started. */
  readonly capturing: boolean;

  /**
   * Starts the stream; does nothing when it is started. It gets the next event on, also when it is started inside a
   * listener. A capture that an object of `hardware.capturePointer()` has is taken over; one that such an object ends is
   * begun again within about a second.
   *
   * @throws Error as `hardware.capturePointer()` throws, also after `shutdown()`; the stream is not started then.
   */
  start(): this;

  /**
   * Stops the stream: from here on none of its listeners is called, and its loops end when they have taken what has
   * come. Does nothing when it is stopped. It can be started again.
   *
   * A stream that runs goes on after `shutdown()`, until it is stopped.
   */
  stop(): this;

  /** Stops the stream, at the end of a `using` block. */
  [Symbol.dispose](): void;

  /**
   * The events for one loop, from this call on. The loop waits for a stream that is not started yet, and ends when the
   * stream is stopped. Leaving it does not stop the stream.
   *
   * @throws TypeError that names the option which is wrong.
   *
   * @example
   * const { PointerStream } = require('zebbridge/pointer');
   *
   * async function follow(turn, signal) {
   *     const pointer = new PointerStream();
   *     pointer.start();
   *     for await (const event of pointer.events({ signal })) {
   *         if (event.type === 'motion') turn(event.offset);
   *         if (event.type === 'dropped') turn(event.offset); // the loop was too slow: their sum
   *     }
   * }
   * follow(({ x }) => console.log('turned by', x));
   */
  events(options?: PointerEventsOptions): AsyncIterableIterator<PointerItem>;

  /** Adds a listener; it is called with the stream as `this`. */
  on<K extends keyof PointerEventMap>(name: K, listener: (this: this, event: PointerEventMap[K]) => void): this;
  addListener<K extends keyof PointerEventMap>(
    name: K,
    listener: (this: this, event: PointerEventMap[K]) => void,
  ): this;
  prependListener<K extends keyof PointerEventMap>(
    name: K,
    listener: (this: this, event: PointerEventMap[K]) => void,
  ): this;
  /** Adds a listener for the next event alone. */
  once<K extends keyof PointerEventMap>(name: K, listener: (this: this, event: PointerEventMap[K]) => void): this;
  prependOnceListener<K extends keyof PointerEventMap>(
    name: K,
    listener: (this: this, event: PointerEventMap[K]) => void,
  ): this;
  /** Takes a listener out that was added once; of one that was added more often, the last. */
  off<K extends keyof PointerEventMap>(name: K, listener: (event: PointerEventMap[K]) => void): this;
  removeListener<K extends keyof PointerEventMap>(name: K, listener: (event: PointerEventMap[K]) => void): this;
  removeAllListeners(name?: keyof PointerEventMap): this;

  /** Calls the listeners of this stream with an event of your own, for tests. What they throw reaches the caller. */
  emit<K extends keyof PointerEventMap>(name: K, event: PointerEventMap[K]): boolean;
  listenerCount(name: keyof PointerEventMap): number;
  listeners(name: keyof PointerEventMap): Function[];
  rawListeners(name: keyof PointerEventMap): Function[];
  eventNames(): Array<string | symbol>;
  /** How many listeners an event may have before Node.js warns of a leak: 10, if nothing else is said. */
  setMaxListeners(count: number): this;
  getMaxListeners(): number;
}
