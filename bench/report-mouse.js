// The part of RESULTS.md that tells what a mouse costs.
'use strict';
const fs = require('node:fs');
const path = require('node:path');
const { fixed, table } = require('./report-table');
const { dependencies } = require('./package.json');

const NONE = '–';
const times = (row, zebbridge, figure) => {
  const ratio = figure(row) / figure(zebbridge);
  return Number.isFinite(ratio) ? fixed(ratio, 2) : NONE;
};
const delay = (row, name) => (row[name] === undefined ? NONE : fixed(row[name]));

// columns: [title, (row, zebbridge) => text]
function mouseTable(rates, columns) {
  return table(
    ['mouse', 'through', 'reports a second', ...columns.map(([title]) => title)],
    Object.entries(rates).flatMap(([rate, rows]) =>
      Object.entries(rows).map(([name, row]) => {
        const cells = row.reason
          ? [`does not run: ${row.reason}`, ...columns.map(() => '')]
          : [fixed(row.reports, 0), ...columns.map(([, text]) => text(row, rows.zebbridge))];
        return [`${fixed(Number(rate), 0)}/s`, name, ...cells];
      }),
    ),
  );
}

const DELAYS = [
  ['to callback, median µs', (row) => delay(row, 'median')],
  ['99th percentile µs', (row) => delay(row, 'percentile99')],
  ['× zebbridge', (row, own) => times(row, own, ({ median }) => median)],
];

// Of both threads, in microseconds.
const perReport = ({ script, other, reports }) => ((script + other) / 100 / reports) * 1e6;
const processorTime = (other) => [
  ['script thread, %', (row) => fixed(row.script, 2)],
  [other, (row) => fixed(row.other, 2)],
  ['both, µs a report', (row) => fixed(perReport(row))],
  ['× zebbridge', (row, own) => times(row, own, perReport)],
];

const FEED = [...processorTime('feeding thread, %'), ...DELAYS];

const REAL = [
  ...processorTime('listening thread, %'),
  ['lost', ({ lost }) => (lost === undefined ? NONE : fixed(lost, 0))],
  ['call of SendInput, median µs', (row) => fixed(row.call)],
  ...DELAYS,
];

function section(resultsFolder, title, columns) {
  try {
    const run = JSON.parse(fs.readFileSync(path.join(resultsFolder, `mouse-${title}.json`)));
    return `**${title}** (${run.node}, ${run.seconds} s each)\n\n${mouseTable(run.rows, columns)}`;
  } catch (error) {
    return `**${title}**: did not run (${error.code || error.message})`;
  }
}

const mouseSections = (resultsFolder) => `## What a mouse costs

A thread sleeps, wakes every millisecond and hands over the reports that are due; each becomes a record
\`{ offset: { x, y }, screenPoint: { x, y } }\` and a call of a script function. Compare the processor time of both threads,
in per cent of one core, with that of "nobody", where the thread wakes and nobody listens: the rest is what listening costs.
The time to the callback runs from the wake-up of the feeding thread, so it includes the wake-up of the script thread.

"koffi" (${dependencies['@koromix/koffi-linux-x64']}) calls a registered script function with four numbers, which builds the record; the feeding thread waits for
each call to end. Under Wine, a thread's processor time is counted in hundredths of a second: 0.2 % of five seconds.

${section(resultsFolder, 'linux', FEED)}

${section(resultsFolder, 'windows', FEED)}

### Real input

A thread sends the system's own input by \`SendInput\`, in the Windows Node.js under Wine, on a desktop without a screen.
zebbridge listens by raw input, "uiohook-napi" (${dependencies['uiohook-napi']}) by a hook. Compare the call of \`SendInput\` with that of "nobody": every
program's input waits for a hook, which holds the mouse back, while raw input that is not read yet waits in a queue. Then
compare the processor time of a report and the time from \`SendInput\` to the callback; where a mouse does not reach its
rate, the machine is too slow for it, and that time is mostly the queue's.

"Listening thread" is what the process takes beside the script thread and the sending one. What Wine's server takes is not
in it. Wine does not wake zebbridge's thread when raw input comes, so the sender posts it messages, once or twice in a
millisecond, which its figures include; Windows needs none.

${section(resultsFolder, 'desktop', REAL)}`;

module.exports = { mouseSections };
