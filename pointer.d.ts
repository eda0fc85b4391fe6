/**
 * Raw pointer input for any number of listeners: a friendly layer over `hardware.capturePointer()`.
 *
 * All streams of an environment (the main thread, a worker, a window) share one native capture. The first start begins
 * it, and the last stop ends it. A running capture keeps the process alive, and garbage collection does not end it.
 *
 * The module loads on every system. If the native part is missing, `start()` throws an error that says why.
 *
 * @example
 * const { ButtonTransition } = require('zebbridge');
 * const { PointerStream } = require('zebbridge/pointer');
 *
 * const pointer = new PointerStream();
 * pointer.on('motion', ({ offset, screenPoint }) => console.log(offset, screenPoint));
 * pointer.on('buttons', ({ middle }) => {
 *   if (middle === ButtonTransition.Pressed) pointer.stop();
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

/** What listeners get, by event. All listeners of an event get the same object. */
export interface PointerEventMap {
  /** A motion of the mouse. */
  motion: MotionEvent;
  /** A press or release. If one input has motion and buttons, the motion event comes first. */
  buttons: ButtonsEvent;
  /**
   * The capture ended and could not be restarted. The stream has stopped. Without a listener and without a loop, the
   * error is an uncaught exception.
   */
  error: Error;
}

/** The part of an `AbortSignal` that this module uses. */
export interface PointerSignal {
  readonly aborted: boolean;
  readonly reason?: any;
  addEventListener(type: 'abort', listener: () => void): void;
  removeEventListener(type: 'abort', listener: () => void): void;
}

/** Options of a loop over a stream's events. */
export interface PointerEventsOptions {
  /**
   * Ends the loop with an error whose `name` is "AbortError", whose `code` is "ABORT_ERR" and whose `cause` is the
   * signal's reason.
   */
  signal?: PointerSignal | undefined;
  /** The largest number of events that wait for the loop, 1024 by default. If more arrive, the oldest are dropped. */
  limit?: number | undefined;
}

/** A motion event in a loop. */
export interface MotionItem extends MotionEvent {
  type: 'motion';
}

/** A buttons event in a loop. */
export interface ButtonsItem extends ButtonsEvent {
  type: 'buttons';
}

/** What a loop that was too slow has missed. It takes the place of the dropped events. */
export interface DroppedItem {
  type: 'dropped';
  /** The number of motion events that were dropped. */
  motions: number;
  /** The sum of their offsets. */
  offset: Point;
  /** The number of buttons events that were dropped. */
  transitions: number;
  /** The last dropped transition of each button; 0 if there was none. */
  left: ButtonTransition;
  middle: ButtonTransition;
  right: ButtonTransition;
}

/** What a loop over a stream's events gets. */
export type PointerItem = MotionItem | ButtonsItem | DroppedItem;

/**
 * A stream of pointer events: an `EventEmitter` of Node.js, with all its methods.
 *
 * - Listeners run on the thread that made the stream. Every listener of every running stream gets an event before the
 *   next event is delivered. Streams are served in the order in which they were started.
 * - An exception in a listener becomes an uncaught exception of the application after the events at hand have been
 *   delivered. All other listeners still get this event and all later ones. An exception in an `async` listener becomes
 *   an unhandled rejection.
 * - A listener runs in the asynchronous context in which it was added, as `AsyncLocalStorage` and `async_hooks` see it.
 */
export class PointerStream {
  constructor();

  /** Whether the stream is started. */
  readonly capturing: boolean;

  /**
   * Starts the stream. Does nothing if it is already started. The stream gets every event from the next one on, even if
   * it is started inside a listener. If an object of `hardware.capturePointer()` is capturing, the stream takes the
   * capture over. If such an object ends the capture, it is restarted within about a second.
   *
   * @throws Error as `hardware.capturePointer()` does, also after `shutdown()`. The stream is then not started.
   */
  start(): this;

  /**
   * Stops the stream. None of its listeners is called after this, and its loops end after the events that have already
   * arrived. Does nothing if the stream is not started. A stopped stream can be started again.
   *
   * `shutdown()` does not stop a stream.
   */
  stop(): this;

  /** Stops the stream, at the end of a `using` block. */
  [Symbol.dispose](): void;

  /**
   * Returns an asynchronous iterator over the events from this call on, for one loop. If the stream is not started yet,
   * the loop waits. The loop ends when the stream stops, but leaving the loop does not stop the stream.
   *
   * @throws TypeError that names a wrong option.
   *
   * @example
   * const { PointerStream } = require('zebbridge/pointer');
   *
   * async function follow(turn, signal) {
   *   const pointer = new PointerStream();
   *   pointer.start();
   *   for await (const event of pointer.events({ signal })) {
   *     if (event.type === 'motion') turn(event.offset);
   *     if (event.type === 'dropped') turn(event.offset); // the loop was too slow: their sum
   *   }
   * }
   * follow(({ x }) => console.log('turned by', x));
   */
  events(options?: PointerEventsOptions): AsyncIterableIterator<PointerItem>;

  /** Adds a listener, which is called with the stream as `this`. */
  on<K extends keyof PointerEventMap>(name: K, listener: (this: this, event: PointerEventMap[K]) => void): this;
  addListener<K extends keyof PointerEventMap>(
    name: K,
    listener: (this: this, event: PointerEventMap[K]) => void,
  ): this;
  prependListener<K extends keyof PointerEventMap>(
    name: K,
    listener: (this: this, event: PointerEventMap[K]) => void,
  ): this;
  /** Adds a listener for the next event only. */
  once<K extends keyof PointerEventMap>(name: K, listener: (this: this, event: PointerEventMap[K]) => void): this;
  prependOnceListener<K extends keyof PointerEventMap>(
    name: K,
    listener: (this: this, event: PointerEventMap[K]) => void,
  ): this;
  /** Removes a listener. If it was added several times, this removes the one added last. */
  off<K extends keyof PointerEventMap>(name: K, listener: (event: PointerEventMap[K]) => void): this;
  removeListener<K extends keyof PointerEventMap>(name: K, listener: (event: PointerEventMap[K]) => void): this;
  removeAllListeners(name?: keyof PointerEventMap): this;

  /** Calls this stream's listeners with an event of your own, for tests. The caller gets what a listener throws. */
  emit<K extends keyof PointerEventMap>(name: K, event: PointerEventMap[K]): boolean;
  listenerCount(name: keyof PointerEventMap): number;
  listeners(name: keyof PointerEventMap): Function[];
  rawListeners(name: keyof PointerEventMap): Function[];
  eventNames(): Array<string | symbol>;
  /** Sets how many listeners an event may have before Node.js warns of a leak. The default is 10. */
  setMaxListeners(count: number): this;
  getMaxListeners(): number;
}
