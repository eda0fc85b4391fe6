/**
 * zebbridge: raw pointer input, Windows integration and package updates for desktop applications on x86-64 Windows.
 *
 * Where it runs: win32-x64, in desktop runtimes with module version 123 and in Node.js 22, 24 and 26. On other systems
 * the package installs and loads, and `supported` is `false`: `shutdown`, `dispose` and the setters of handlers do
 * nothing, and every other function throws an `Error` with `code` `'ERR_ZEBBRIDGE_UNAVAILABLE'` that says what is
 * missing. On win32-x64, a binary that is missing or cannot be loaded is an `Error` when the package is loaded; its
 * `code` is one of `LoadErrorCode`, its `cause` is the runtime's own error.
 *
 * Threads: every function is called on the script thread of the isolate that loaded the module, and every callback is
 * called there. Worker threads may load the module too; each gets components of its own.
 *
 * Arguments, for every method:
 * - Fewer than the method has: `Error` "Expected (N) arguments, but only (M)". Those in excess are ignored.
 * - A number is converted as by `Math.trunc(Number(value))`, with `NaN` as 0, and then narrowed to the parameter's
 *   width (32 bits where nothing else is said). A value whose conversion throws (a `Symbol`, a `BigInt`, an object with
 *   a throwing `valueOf`) counts as 0: the method runs with it, and the exception is thrown when it has returned.
 * - A text is `String(value)` up to its first NUL character. When the conversion throws (a `Symbol`, an object with a
 *   throwing `toString`), the method does not run, and the exception is thrown.
 * - A callback is any value; `null` or `undefined` removes the one that was set. A value that is no function is not
 *   refused: its calls fail silently. What a callback throws is dropped.
 *
 * Errors, for every method: a native failure is an `Error`. Where its `message` is the system's text, its `code` is the
 * Win32 number, see `SystemError`. What an `async` callback throws is an unhandled rejection. A method without its
 * object (a detached function, or one called with `new`), and a component's method after `shutdown`, is a `TypeError`
 * "Illegal invocation".
 *
 * @example
 * const { diagnostics, hardware, shutdown } = require('zebbridge');
 *
 * diagnostics.setLogHandler((message, level) => console.log(level, message));
 * const capture = hardware.capturePointer();
 * capture.setMotionEventCallback(({ offset, screenPoint }) => console.log(offset, screenPoint));
 * capture.startCapturing();
 * setTimeout(() => {
 *     capture.stopCapturing();
 *     shutdown();
 * }, 5000);
 */

/** Whether the native part is there. Where it is not, calls that would have no effect do nothing, and the rest throws. */
export const supported: boolean;

/** The `code` of the `Error` that loading the package throws, or its first use where `supported` is `false`. */
export type LoadErrorCode =
  /** There is no binary for this system, architecture or module version. */
  | 'ERR_ZEBBRIDGE_UNAVAILABLE'
  /** The binary is not where it belongs: left out by a packager or a bundler. */
  | 'ERR_ZEBBRIDGE_BINARY_MISSING'
  /** The process does not allow native modules (`--no-addons`, a permission model). */
  | 'ERR_ZEBBRIDGE_ADDONS_DISABLED'
  /** The binary is damaged, blocked, still inside an archive, for another runtime, or refuses this one. */
  | 'ERR_ZEBBRIDGE_BINARY_FAILED';

/** What a method throws when Windows refuses: `message` is the system's text, the line break at its end included. */
export interface SystemError extends Error {
  /** The Win32 error number. */
  code: number;
}

/**
 * Pixels or device counts, as each property says. Pixels follow the process's DPI awareness: physical ones in a process
 * that is aware of each monitor's, scaled ones in others.
 */
export interface Point {
  x: number;
  y: number;
}

/** One motion of the mouse. A new plain object for every event. */
export interface MotionEvent {
  /**
   * Motion since the last event in the device's own counts, without the system's acceleration. 32-bit integers; never
   * both 0. A device that reports absolute positions, such as a tablet or a remote session, reports those here.
   */
  offset: Point;
  /** The system's cursor in pixels of the virtual screen, read when the motion was processed. Can be negative. */
  screenPoint: Point;
}

/** What happened to one button. Both at once count as pressed. */
export const ButtonTransition: { readonly None: 0; readonly Released: 1; readonly Pressed: 2 };
export type ButtonTransition = (typeof ButtonTransition)[keyof typeof ButtonTransition];

/** A change of at least one button. A new plain object for every event. The user's button swap is already applied. */
export interface ButtonsEvent {
  left: ButtonTransition;
  middle: ButtonTransition;
  right: ButtonTransition;
}

/** A logical button: the user's button swap is already applied. */
export const MouseButton: { readonly Left: 0; readonly Middle: 1; readonly Right: 2 };
export type MouseButton = (typeof MouseButton)[keyof typeof MouseButton];

/**
 * Brings raw mouse input to two callbacks, also while the application has no focus.
 *
 * **Make one capture object, keep it, and start and stop it as often as you like.**
 *
 * All capture objects of one `hardware` share one input source, so at most one of them captures at any time, and any of
 * them can stop the one that does. Keep a reference while you capture: when the object is collected, the capture ends,
 * whichever object started it.
 *
 * While it captures, the process stays alive; an idle capture object does not keep it.
 */
export interface PointerCapture {
  /**
   * Ends the running capture of this or any other capture object. Input that was read before is still delivered; to
   * hear nothing more, remove the callbacks as well. Does nothing when no capture runs.
   */
  stopCapturing(): void;

  /**
   * Starts to capture, for this object's callbacks; does nothing while any capture object captures. Input is read on
   * a thread of its own and delivered on the script thread, all that has come per turn of the event loop, in order.
   * Promise reactions and `process.nextTick` callbacks that the callbacks queue run after the last event of a turn.
   *
   * When Windows refuses the input, no events come and script is not told: only an attached debugger shows the record,
   * once `diagnostics.setLogHandler` was called.
   */
  startCapturing(): void;

  /**
   * Sets, replaces or (with `null`) removes the callback for motion. Works at any time, also from inside the
   * callback; it holds from the next event on. Removing it does not end the capture.
   */
  setMotionEventCallback(callback: ((event: MotionEvent) => void) | null | undefined): void;

  /** The same for presses and releases. For input that carries both, the motion comes first. */
  setButtonsEventCallback(callback: ((event: ButtonsEvent) => void) | null | undefined): void;
}

/** Mouse input. */
export interface Hardware {
  /**
   * Whether a button is held down at this moment. Left and right follow the user's button swap as the last capture
   * saw it; before the first capture they count as not swapped.
   *
   * @param button Any other number asks for the physical primary button.
   *
   * @example
   * const { hardware, MouseButton } = require('zebbridge');
   * const dragging = hardware.getButtonState(MouseButton.Left);
   */
  getButtonState(button: MouseButton): boolean;

  /**
   * A new, idle capture object.
   *
   * @throws Error "Fail to create raw input driver" when there is no memory for it.
   *
   * @example
   * const { ButtonTransition, hardware } = require('zebbridge');
   * const capture = hardware.capturePointer();
   * capture.setButtonsEventCallback(({ left }) => {
   *     if (left === ButtonTransition.Pressed) capture.stopCapturing();
   * });
   * capture.startCapturing();
   */
  capturePointer(): PointerCapture;
}

/** The weight of a log record. No warning is written today. */
export const LogLevel: { readonly Information: 0; readonly Warning: 1; readonly Error: 2 };
export type LogLevel = (typeof LogLevel)[keyof typeof LogLevel];

/** The module's own log. */
export interface Diagnostics {
  /**
   * Sends the module's log to `handler`. There is one handler for the whole process: the last call wins, also over
   * other threads' handlers, and the end of any environment that loaded the module, or `shutdown`, removes it.
   *
   * Only records written on the calling script thread reach the function; records of the module's own threads, and
   * those written during a garbage collection, do not. Once this method was called (also with `null`), all records go
   * to an attached debugger as well.
   *
   * @example
   * const { diagnostics, LogLevel } = require('zebbridge');
   * diagnostics.setLogHandler((message, level) => (level === LogLevel.Error ? console.error : console.log)(message));
   */
  setLogHandler(handler: ((message: string, level: LogLevel) => void) | null | undefined): void;
}

/** Ends the process on purpose, to see an application's crash reporting at work. */
export interface CrashEmitter {
  /** Ends the process with a stack overflow (exception code 0xC00000FD). */
  emitStackOverflow(): never;
  /** Ends the process with an access violation (exception code 0xC0000005): a write to address 0. */
  emitAccessViolation(): never;
}

/** A window's show state: the values of Win32's ShowWindow that a window placement takes, under its names. */
export const ShowCommand: {
  readonly Hide: 0;
  readonly ShowNormal: 1;
  readonly ShowMinimized: 2;
  readonly ShowMaximized: 3;
  readonly ShowNoActivate: 4;
  readonly Show: 5;
  readonly Minimize: 6;
  readonly ShowMinNoActive: 7;
  readonly ShowNA: 8;
  readonly Restore: 9;
};
export type ShowCommand = (typeof ShowCommand)[keyof typeof ShowCommand];

/** What a function that takes an address accepts beyond its own list. */
export interface AddressOptions {
  /** Further schemes, without their colons: `['ms-settings']`. */
  schemes?: readonly string[];
}

/** Services of the Windows desktop. */
export interface Windows {
  /**
   * Asks Windows to start the application again, without arguments, after a crash, a hang, an update or a restart of
   * the system. Windows does so only for processes that have run for a minute. Never fails: the answer is ignored.
   */
  registerApplicationRestart(): void;

  /**
   * Opens an address in the user's default handler, the browser for a web address, even when an installed application
   * has claimed it. Returns before anything has opened; whether it did is not reported.
   *
   * A system without the launcher ends the process.
   *
   * @param url An absolute address with the scheme `http`, `https`, `mailto`, or one that `options` adds.
   * @throws TypeError with `code` `'ERR_INVALID_URL'` for any other text.
   *
   * @example
   * const { windows } = require('zebbridge');
   * windows.openExternalIgnoringAppLinking('https://example.com/help');
   * windows.openExternalIgnoringAppLinking('ms-settings:display', { schemes: ['ms-settings'] });
   */
  openExternalIgnoringAppLinking(url: string, options?: AddressOptions): void;

  /**
   * The update build revision of the installed Windows: the last part of its version (the 4291 of 10.0.19045.4291).
   *
   * @returns 0 to 4294967295.
   * @throws SystemError when the registry has none.
   */
  getWindowsUpdateBuildRevision(): number;

  /**
   * Sets a window's normal position, which it has when it is neither minimised nor maximised, and its show state. Its
   * minimised and maximised positions stay as they are.
   *
   * @param windowHandle The native window handle (HWND) as an integer. Handles have 32 significant bits.
   * @param left Workspace coordinates in pixels, 32-bit integers, here and in the next three: they count from the
   *     corner of the work area, which is the screen without the taskbar. Windows with `WS_EX_TOOLWINDOW` have screen
   *     coordinates.
   * @param showCommand The show state. The system decides what becomes of a number that is none of them.
   * @throws SystemError when the handle is no window or Windows refuses the placement.
   *
   * @example
   * const { ShowCommand, windows } = require('zebbridge');
   * const restore = (hwnd) => windows.setWindowPlacement(hwnd, 100, 100, 1380, 820, ShowCommand.ShowNormal);
   */
  setWindowPlacement(
    windowHandle: number,
    left: number,
    top: number,
    right: number,
    bottom: number,
    showCommand: ShowCommand,
  ): void;
}

/** Updates of the application's own MSIX package. */
export interface MsixAutoUpdater {
  /**
   * Sets, replaces or (with `null`) removes the function that hears of failed updates. It is called once per failure,
   * on the script thread. A failure without a handler is dropped, not kept for the next one.
   *
   * The text is the deployment's own, or "winrt exception with message: ... and code: ..." with the HRESULT as a
   * signed decimal number (-2147024891 for 0x80070005), or "Unknown exception".
   */
  setErrorHandler(handler: ((message: string) => void) | null | undefined): void;

  /**
   * The event log records that a query selects, oldest first, each as the event log's XML text. Waits for the event
   * log service, so ask for few records.
   *
   * @param query A structured XML query in ASCII that names its own channels.
   * @throws SystemError when the query is refused or one of its channels cannot be read.
   *
   * @example
   * const { msix_auto_updater } = require('zebbridge');
   * const records = msix_auto_updater.getUpdateErrors(`
   *     <QueryList><Query Path="Microsoft-Windows-AppXDeploymentServer/Operational">
   *         <Select>*[System[(Level=2) and TimeCreated[timediff(@SystemTime) &lt;= 86400000]]]</Select>
   *     </Query></QueryList>`);
   */
  getUpdateErrors(query: string): string[];

  /**
   * Has Windows update the application's package, on a thread of its own. Returns at once. A success is not reported:
   * Windows closes the application to apply the update. A failure goes to the error handler. The process stays alive
   * until the deployment ends; `shutdown` waits for it.
   *
   * Start one update at a time. **A system without package deployment ends the process.**
   *
   * @param packageUri The package's absolute address, with the scheme `https`, `http`, `file`, or one that `options`
   *     adds.
   * @throws TypeError with `code` `'ERR_INVALID_URL'` for any other text.
   *
   * @example
   * const { msix_auto_updater, windows } = require('zebbridge');
   * windows.registerApplicationRestart(); // otherwise nobody starts the application again
   * msix_auto_updater.setErrorHandler((message) => console.error('update failed:', message));
   * msix_auto_updater.applyUpdate('https://example.com/app.msix');
   */
  applyUpdate(packageUri: string, options?: AddressOptions): void;

  /** Removes the error handler. A running update goes on. */
  dispose(): void;
}

export const crash_emitter: CrashEmitter;
export const diagnostics: Diagnostics;
export const hardware: Hardware;
export const windows: Windows;
export const msix_auto_updater: MsixAutoUpdater;

/**
 * Releases the components: removes the log handler, waits for a running update. After it their methods throw. It
 * reaches all threads of the process that loaded the module. A second call does nothing.
 *
 * Capture objects are not components: stop a running capture yourself, or it goes on and keeps the process alive.
 *
 * Optional: the end of the environment (of the process or of a worker thread) releases everything, captures included.
 */
export function shutdown(): void;
