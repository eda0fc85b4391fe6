/**
 * Updates of the application's own MSIX package as promises, and the event log's records about them: a friendly face of
 * `msix_auto_updater`.
 *
 * The module loads on every system. Where the native part is missing, its functions reject with what is wrong.
 *
 * @example
 * const { applyUpdate, updateErrors } = require('zebbridge/updates');
 *
 * applyUpdate('https://example.com/app.msix').catch(async (error) => {
 *     console.error(error.message, error.code); // '0x80073CF3', say
 *     const [last] = await updateErrors({ limit: 1 });
 *     if (last) console.error(last.time, last.text);
 * });
 */

/** Why an update failed. */
export class UpdateError extends Error {
  /** @param report What the native module reported. */
  constructor(report: string);
  name: 'UpdateError';
  /** The HRESULT as text, such as "0x80073CF3"; undefined when the report names none. */
  code: string | undefined;
  /** The same as a number, such as 0x80073CF3. */
  hresult: number | undefined;
}

/** The part of an AbortSignal that is used. */
export interface UpdateSignal {
  readonly aborted: boolean;
  readonly reason?: any;
  addEventListener(type: 'abort', listener: () => void, options?: { once?: boolean }): void;
  removeEventListener(type: 'abort', listener: () => void): void;
}

export interface ApplyUpdateOptions {
  /**
   * Ends the waiting with an error whose `name` is "AbortError", whose `code` is "ABORT_ERR" and whose `cause` is the
   * reason. Windows goes on with an update that it has begun, and until that has failed no other one starts.
   */
  signal?: UpdateSignal | undefined;
  /** Schemes to take beside `http`, `https` and `file`, without their colons. */
  schemes?: readonly string[] | undefined;
}

/**
 * Has Windows update the application's package. The promise never resolves: when the update succeeds, Windows closes the
 * application. A running update keeps the process alive.
 *
 * One update runs at a time; a second one rejects at once with `code` "ERR_ZEBBRIDGE_UPDATE_RUNNING". A success that
 * leaves the application running is not told apart from an update that still runs, so no other one starts then.
 *
 * While an update runs, the handler of `msix_auto_updater.setErrorHandler` is this function's; afterwards there is none.
 *
 * Call `windows.registerApplicationRestart()` before: otherwise nobody starts the application again.
 *
 * @param uri An absolute address of the package.
 * @throws UpdateError when the update fails or cannot start.
 * @throws TypeError with `code` "ERR_INVALID_URL" for text that is no such address, or one that names the wrong option.
 */
export function applyUpdate(uri: string, options?: ApplyUpdateOptions): Promise<never>;

/** The weight of a record of the event log. */
export type UpdateErrorLevel = 'critical' | 'error' | 'warning' | 'information' | 'verbose';

/** A moment: a Date, milliseconds since 1970, or an ISO text. */
export type UpdateErrorTime = Date | number | string;

/** Which records to read. */
export interface UpdateErrorsOptions {
  /** The earliest and the latest moment, `until` no earlier than `since`; without them there is no limit. */
  since?: UpdateErrorTime | undefined;
  until?: UpdateErrorTime | undefined;
  /** The levels to read, critical and error by default. */
  levels?: readonly UpdateErrorLevel[] | undefined;
  /** The largest number of records to give; all by default. */
  limit?: number | undefined;
  /** Which records come first, and so which are given up for `limit`. The newest by default. */
  order?: 'newest' | 'oldest' | undefined;
  /** The channel to read: Microsoft-Windows-AppXDeploymentServer/Operational by default. */
  channel?: string | undefined;
  /**
   * In place of `since`, `until` and `levels`: an XPath expression of the event log's kind for the channel, such as
   * `*[System[EventID=404]]`, or a whole structured XML query, which names its own channels.
   */
  query?: string | undefined;
}

/** A record of the event log. Of one whose XML is damaged, `xml` is all that is known. */
export interface UpdateErrorRecord {
  /** When it was written, in milliseconds; null when the record does not say. */
  time: Date | null;
  /** The number of the event, which is the provider's. */
  id: number;
  /** One of `UpdateErrorLevel`, or the number of a level that the provider made up, as text. */
  level: string;
  /** Who wrote it. */
  provider: string;
  /** The message where the record carries one, and otherwise the values of its data fields. */
  text: string;
  /** The data fields by name; those without a name by their place, from "0" on. */
  data: { [name: string]: string };
  /** The record as the event log gave it. */
  xml: string;
}

/**
 * Reads records of the event log about package deployments, in a thread of their own: the application never waits for
 * the event log's service.
 *
 * @throws Error with the system's text when the query is refused or the channel cannot be read.
 * @throws TypeError that names the option which is wrong.
 *
 * @example
 * const { updateErrors } = require('zebbridge/updates');
 *
 * const since = Date.now() - 7 * 24 * 60 * 60 * 1000;
 * updateErrors({ since, limit: 20 }).then((lastWeek) => console.log(lastWeek.length), console.error);
 */
export function updateErrors(options?: UpdateErrorsOptions): Promise<UpdateErrorRecord[]>;
