/**
 * zebbridge: raw pointer input, Windows integration and package updates for desktop applications on x86-64 Windows.
 *
 * Where it runs: win32-x64, in desktop runtimes with module version 123 and in Node.js 22, 24 and 26. On other systems
 * the package installs and loads, and `supported` is `false`. There `shutdown`, `dispose` and the setters of handlers
 * do nothing, and every other function throws an `Error` with `code` `'ERR_ZEBBRIDGE_UNAVAILABLE'` that says what is
 * missing. On win32-x64, loading the package throws an `Error` if the binary is missing or cannot be loaded. Its `code`
 * is one of `LoadErrorCode`, and its `cause`, if there is one, is the runtime's own error.
 *
 * Threads: call every function on the thread that loaded the module. Callbacks run on that thread too. A worker thread
 * may load the module as well and then gets its own components. Once a worker has been told to end, no event calls back
 * in it.
 *
 * Arguments, for every method:
 * - Too few arguments throw an `Error` "Expected (N) arguments, but only (M)". Extra arguments are ignored.
 * - A number is converted like `Math.trunc(Number(value))`, with `NaN` as 0, and then narrowed to the parameter's width
 *   (32 bits unless stated otherwise). A value whose conversion throws (a `Symbol`, a `BigInt`, an object with a
 *   throwing `valueOf`) counts as 0: the method runs with 0 and then throws the exception.
 * - Text is `String(value)` up to its first NUL character. If the conversion throws (a `Symbol`, an object with a
 *   throwing `toString`), the method does not run, and the exception is thrown.
 * - A callback may be any value; `null` or `undefined` removes the current one. A value that is not a function is not
 *   refused, but calling it fails silently. Exceptions that a callback throws are dropped.
 *
 * Errors, for every method: a native failure is an `Error`. If its `message` is the system's text, its `code` is the
 * Win32 error number; see `SystemError`. An exception in an `async` callback becomes an unhandled rejection. A method
 * throws a `TypeError` "Illegal invocation" if it is called without its object (as a detached function or with `new`);
 * a component's method also does so after `shutdown`.
 *
 * @example
 * const { diagnostics, hardware, shutdown } = require('zebbridge');
 *
 * diagnostics.setLogHandler((message, level) => console.log(level, message));
 * const capture = hardware.capturePointer();
 * capture.setMotionEventCallback(({ offset, screenPoint }) => console.log(offset, screenPoint));
 * capture.startCapturing();
 * setTimeout(() => {
 *   capture.stopCapturing();
 *   shutdown();
 * }, 5000);
 */

/** Whether the native part is loaded. If not, calls that would have no effect do nothing, and all others throw. */
export const supported: boolean;

/** The `code` of the `Error` that loading the package throws, or that its functions throw if `supported` is `false`. */
export type LoadErrorCode =
  /** There is no binary for this system, architecture or module version. */
  | 'ERR_ZEBBRIDGE_UNAVAILABLE'
  /** The binary is not in its place: a packager or a bundler left it out. */
  | 'ERR_ZEBBRIDGE_BINARY_MISSING'
  /** The process does not allow native modules (`--no-addons`, a permission model). */
  | 'ERR_ZEBBRIDGE_ADDONS_DISABLED'
  /** The binary is damaged, blocked, still inside an archive, built for another runtime, or refuses this one. */
  | 'ERR_ZEBBRIDGE_BINARY_FAILED';

/** What a method throws if Windows refuses. `message` is the system's text, including the line break at its end. */
export interface SystemError extends Error {
  /** The Win32 error number. */
  code: number;
}

/**
 * Pixels or device counts, as stated for each property. Pixels follow the process's DPI awareness: they are physical
 * pixels in a per-monitor DPI aware process and scaled pixels in any other.
 */
export interface Point {
  x: number;
  y: number;
}

/** One motion of the mouse. A new plain object for every event. */
export interface MotionEvent {
  /**
   * Motion since the last event in the device's own counts, without the system's acceleration. 32-bit integers, never
   * both 0. For a device that reports absolute positions, such as a tablet or a remote session, this is the position.
   */
  offset: Point;
  /** The cursor in pixels of the virtual screen at the time the motion was processed. Can be negative. */
  screenPoint: Point;
}

/** What happened to one button. A press and a release at once count as a press. */
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
 * Delivers raw mouse input to two callbacks, even while the application has no focus.
 *
 * **Make one capture object, keep it, and start and stop it as often as you like.**
 *
 * All capture objects of one `hardware` share one input source. At most one of them captures at any time, and each of
 * them can stop the running capture. Keep a reference while you capture, because garbage collection of any capture
 * object ends the running capture, even if another object started it.
 *
 * A running capture keeps the process alive; an idle capture object does not.
 */
export interface PointerCapture {
  /**
   * Ends the running capture of this or any other capture object. Input that was already read is still delivered; to
   * stop the events at once, also remove the callbacks. Does nothing if no capture is running.
   */
  stopCapturing(): void;

  /**
   * Starts a capture for this object's callbacks. Does nothing while any capture object captures. A separate thread
   * reads the input. Each turn of the event loop delivers what has arrived, in order, on the script thread. Promise
   * reactions and `process.nextTick` callbacks that the callbacks queue run after the last of these events.
   *
   * If Windows refuses the input, no events arrive and script is not told. Only an attached debugger shows the log
   * record, and only once `diagnostics.setLogHandler` has been called.
   */
  startCapturing(): void;

  /**
   * Sets, replaces or (with `null`) removes the callback for motion. You can call it at any time, even inside the
   * callback; the change applies from the next event on. Removing the callback does not end the capture.
   */
  setMotionEventCallback(callback: ((event: MotionEvent) => void) | null | undefined): void;

  /** The same for presses and releases. If one input has motion and buttons, the motion event comes first. */
  setButtonsEventCallback(callback: ((event: ButtonsEvent) => void) | null | undefined): void;
}

/** Mouse input. */
export interface Hardware {
  /**
   * Whether a button is held down at this moment. Left and right follow the user's button swap, as the last capture
   * saw it; before the first capture the buttons count as not swapped.
   *
   * @param button Any other number asks for the physical left button.
   *
   * @example
   * const { hardware, MouseButton } = require('zebbridge');
   * const dragging = hardware.getButtonState(MouseButton.Left);
   */
  getButtonState(button: MouseButton): boolean;

  /**
   * A new, idle capture object.
   *
   * @throws Error "Fail to create raw input driver" if there is no memory for the input source.
   *
   * @example
   * const { ButtonTransition, hardware } = require('zebbridge');
   * const capture = hardware.capturePointer();
   * capture.setButtonsEventCallback(({ left }) => {
   *   if (left === ButtonTransition.Pressed) capture.stopCapturing();
   * });
   * capture.startCapturing();
   */
  capturePointer(): PointerCapture;
}

/** The level of a log record. The module writes no warnings today. */
export const LogLevel: { readonly Information: 0; readonly Warning: 1; readonly Error: 2 };
export type LogLevel = (typeof LogLevel)[keyof typeof LogLevel];

/** The module's own log. */
export interface Diagnostics {
  /**
   * Sends the module's log to `handler`. The whole process has one handler: the last call wins, even over other
   * threads' handlers. `shutdown`, and the end of any environment that loaded the module, remove it.
   *
   * The function receives only the log records that are written on its own script thread. It does not receive records
   * of the module's own threads, or records written during garbage collection. Once this method has been called, even
   * with `null`, all log records also go to an attached debugger, until the handler is removed by one of these ends.
   *
   * @example
   * const { diagnostics, LogLevel } = require('zebbridge');
   * diagnostics.setLogHandler((message, level) => (level === LogLevel.Error ? console.error : console.log)(message));
   */
  setLogHandler(handler: ((message: string, level: LogLevel) => void) | null | undefined): void;
}

/** Ends the process on purpose, to test an application's crash reporting. */
export interface CrashEmitter {
  /** Ends the process with a stack overflow (exception code 0xC00000FD). */
  emitStackOverflow(): never;
  /** Ends the process with an access violation (exception code 0xC0000005): a write to address 0. */
  emitAccessViolation(): never;
}

/** A window's show state: the values of Win32's `ShowWindow` that a window placement accepts, under Win32's names. */
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

/** Which addresses a function accepts in addition to its own list. */
export interface AddressOptions {
  /** More schemes, without their colons: `['ms-settings']`. */
  schemes?: readonly string[];
}

/** Services of the Windows desktop. */
export interface Windows {
  /**
   * Asks Windows to restart the application, without arguments, after a crash, a hang, an update or a restart of the
   * system. Windows does so only for processes that have run for a minute. Never throws: it ignores Windows's answer.
   */
  registerApplicationRestart(): void;

  /**
   * Opens an address in the user's default handler (for a web address, the browser), even if an installed application
   * has claimed the address. Returns before anything has opened and does not report whether anything did.
   *
   * On a system that has no launcher, the process ends.
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
   * @throws SystemError if the registry does not have it.
   */
  getWindowsUpdateBuildRevision(): number;

  /**
   * Sets a window's show state and its normal position, which is its position while it is neither minimised nor
   * maximised. Its minimised and maximised positions do not change.
   *
   * @param windowHandle The native window handle (HWND) as an integer. Handles have 32 significant bits.
   * @param left This and the next three are workspace coordinates in pixels, 32-bit integers. They count from the
   *     corner of the work area, which is the screen without the taskbar. For windows with `WS_EX_TOOLWINDOW` they are
   *     screen coordinates.
   * @param showCommand The show state. For any other number, Windows decides what happens.
   * @throws SystemError if the handle is not a window or Windows refuses the placement.
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
   * Sets, replaces or (with `null`) removes the handler for failed updates. It is called once per failure, on the
   * script thread. A failure without a handler is dropped, not kept for the next handler.
   *
   * The message is the deployment's own text; or "winrt exception with message: ... and code: ..." with the HRESULT as
   * a signed decimal number (-2147024891 for 0x80070005); or "Fail to start package update"; or "Unknown exception".
   */
  setErrorHandler(handler: ((message: string) => void) | null | undefined): void;

  /**
   * Returns the event records that a query selects, oldest first, each as the event log's XML text. Blocks until the
   * event log service has answered, so ask for few records.
   *
   * @param query A structured XML query in ASCII that names its own channels.
   * @throws SystemError if the query is refused or one of its channels cannot be read.
   *
   * @example
   * const { msix_auto_updater } = require('zebbridge');
   * const records = msix_auto_updater.getUpdateErrors(`
   *   <QueryList><Query Path="Microsoft-Windows-AppXDeploymentServer/Operational">
   *     <Select>*[System[(Level=2) and TimeCreated[timediff(@SystemTime) &lt;= 86400000]]]</Select>
   *   </Query></QueryList>`);
   */
  getUpdateErrors(query: string): string[];

  /**
   * Has Windows update the application's package. Returns at once, because a separate thread waits for the deployment.
   * Success is not reported: Windows closes the application to apply the update. A failure goes to the error handler.
   * The process stays alive until the deployment ends, and `shutdown` waits for it.
   *
   * Start one update at a time. **On a system that has no package deployment, the process ends.**
   *
   * @param packageUri The package's absolute address, with the scheme `https`, `http`, `file`, or one that `options`
   *     adds.
   * @throws TypeError with `code` `'ERR_INVALID_URL'` for any other text.
   *
   * @example
   * const { msix_auto_updater, windows } = require('zebbridge');
   * windows.registerApplicationRestart(); // otherwise Windows does not restart the application
   * msix_auto_updater.setErrorHandler((message) => console.error('update failed:', message));
   * msix_auto_updater.applyUpdate('https://example.com/app.msix');
   */
  applyUpdate(packageUri: string, options?: AddressOptions): void;

  /** Removes the error handler. A running update continues. */
  dispose(): void;
}

export const crash_emitter: CrashEmitter;
export const diagnostics: Diagnostics;
export const hardware: Hardware;
export const windows: Windows;
export const msix_auto_updater: MsixAutoUpdater;

/**
 * Releases the components of all threads that loaded the module. This removes the log handler and waits for a running
 * update of the calling thread. Afterwards the components' methods throw. A second call does nothing.
 *
 * Capture objects are not components: stop a running capture yourself, or it continues and keeps the process alive.
 *
 * Calling it is optional. The end of an environment (of the process or a worker thread) releases everything that the
 * environment owns, including captures.
 */
export function shutdown(): void;
