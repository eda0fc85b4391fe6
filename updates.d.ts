/**
 * Updates of the application's own MSIX package as promises, and event records about them as objects: a friendly layer
 * over `msix_auto_updater`.
 *
 * The module loads on every system. If the native part is missing, its functions reject with an error that says why.
 *
 * @example
 * const { windows } = require('zebbridge');
 * const { applyUpdate, updateErrors } = require('zebbridge/updates');
 *
 * windows.registerApplicationRestart(); // otherwise Windows does not restart the application
 * applyUpdate('https://example.com/app.msix').catch(async (error) => {
 *   console.error(error.message, error.code); // for example '0x80073CF3'
 *   const [last] = await updateErrors({ limit: 1 });
 *   if (last) console.error(last.time, last.text);
 * });
 */

/** Why an update failed. */
export class UpdateError extends Error {
  /** @param report What the native module reported. */
  constructor(report: string);
  name: 'UpdateError';
  /** The HRESULT as text, such as "0x80073CF3"; undefined if the report has none. */
  code: string | undefined;
  /** The HRESULT as a number, such as 0x80073CF3. */
  hresult: number | undefined;
}

/** The part of an `AbortSignal` that this module uses. */
export interface UpdateSignal {
  readonly aborted: boolean;
  readonly reason?: any;
  addEventListener(type: 'abort', listener: () => void, options?: { once?: boolean }): void;
  removeEventListener(type: 'abort', listener: () => void): void;
}

export interface ApplyUpdateOptions {
  /**
   * Stops waiting and rejects with an error whose `name` is "AbortError", whose `code` is "ABORT_ERR" and whose `cause`
   * is the signal's reason. Windows continues an update that has begun, and the environment starts no other until it has
   * failed.
   */
  signal?: UpdateSignal | undefined;
  /** Schemes to accept in addition to `http`, `https` and `file`, without their colons. */
  schemes?: readonly string[] | undefined;
}

/**
 * Has Windows update the application's package. The promise never resolves, because Windows closes the application when
 * the update succeeds. A running update keeps the process alive.
 *
 * An environment (the main thread, a worker or a window) runs one update at a time: a second call rejects at once with
 * `code` "ERR_ZEBBRIDGE_UPDATE_RUNNING". This function cannot tell an update that succeeded and left the application
 * running from one that still runs, so the environment starts no other update after it.
 *
 * While an update runs, this function uses `msix_auto_updater.setErrorHandler`. Afterwards no handler is set.
 *
 * Call `windows.registerApplicationRestart()` first: otherwise Windows does not restart the application.
 *
 * @param uri The absolute address of the package.
 * @throws UpdateError if the update fails or cannot start.
 * @throws TypeError with `code` "ERR_INVALID_URL" if `uri` is not such an address; or one that names a wrong option.
 */
export function applyUpdate(uri: string, options?: ApplyUpdateOptions): Promise<never>;

/** The level of an event record. */
export type UpdateErrorLevel = 'critical' | 'error' | 'warning' | 'information' | 'verbose';

/** A time: a `Date`, milliseconds since 1970, or ISO text. */
export type UpdateErrorTime = Date | number | string;

/** Which event records to read. */
export interface UpdateErrorsOptions {
  /** The earliest and the latest time; no limit by default. `until` must not be earlier than `since`. */
  since?: UpdateErrorTime | undefined;
  until?: UpdateErrorTime | undefined;
  /** The levels to read; critical and error by default. */
  levels?: readonly UpdateErrorLevel[] | undefined;
  /** The largest number of records to return; no limit by default. */
  limit?: number | undefined;
  /** Which records come first, and so which ones `limit` keeps; the newest by default. */
  order?: 'newest' | 'oldest' | undefined;
  /** The channel to read; Microsoft-Windows-AppXDeploymentServer/Operational by default. */
  channel?: string | undefined;
  /**
   * Replaces `since`, `until` and `levels`: an XPath expression for the channel, as the event log defines it, such as
   * `*[System[EventID=404]]`; or a complete structured XML query, which names its own channels.
   */
  query?: string | undefined;
}

/** An event record. If its XML is damaged, only `xml` holds information. */
export interface UpdateErrorRecord {
  /** When the record was written, in milliseconds; null if the record does not say. */
  time: Date | null;
  /** The event's number, which the provider chooses. */
  id: number;
  /** One of `UpdateErrorLevel`, the number of a level that the provider defines, as text, or empty if there is none. */
  level: string;
  /** The name of the program part that wrote the record. */
  provider: string;
  /** The record's message if it has one, otherwise the values of its data fields. */
  text: string;
  /** The data fields by name. A field without a name has its position as name, counted from "0". */
  data: { [name: string]: string };
  /** The record's XML as the event log returned it. */
  xml: string;
}

/**
 * Reads event records about package deployments. A worker thread does this, so the calling thread does not wait for the
 * event log service. (If a bundler loads the binary other than by `require`, the calling thread reads.)
 *
 * @throws Error with the system's text if the query is refused or the channel cannot be read.
 * @throws TypeError that names a wrong option.
 *
 * @example
 * const { updateErrors } = require('zebbridge/updates');
 *
 * const since = Date.now() - 7 * 24 * 60 * 60 * 1000;
 * updateErrors({ since, limit: 20 }).then((lastWeek) => console.log(lastWeek.length), console.error);
 */
export function updateErrors(options?: UpdateErrorsOptions): Promise<UpdateErrorRecord[]>;
