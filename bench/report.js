'use strict';
// report.js RESULTS_FOLDER OUTPUT_FOLDER: writes RESULTS.md and results.svg from the runs (*.json) of one `./zeb
// bench`.
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { fixed, table } = require('./report-table');
const { mouseSections } = require('./report-mouse');

const [, , resultsFolder, outputFolder] = process.argv;
const runs = ['linux', 'windows'].map((title) => ({
  title,
  ...JSON.parse(fs.readFileSync(path.join(resultsFolder, `${title}.json`))),
}));

const CONTENDERS = ['zebbridge', 'zebbridge/pointer', 'obvious', 'thread-safe function', 'pure script'];

function callsTable() {
  const names = Object.keys(runs[0].calls);
  return table(
    ['one call', ...runs.flatMap((run) => [`${run.title}, ns`, '× raw, empty'])],
    names.map((name) => [name, ...runs.flatMap((run) => [fixed(run.calls[name].ns), fixed(run.calls[name].ratio, 2)])]),
  );
}

function eventsTable(run) {
  return table(
    [
      'batch',
      ...CONTENDERS.map((name) => `${name}, ns`),
      '× thread-safe function',
      '× obvious',
      'zebbridge/pointer × zebbridge',
    ],
    Object.entries(run.events).map(([batch, row]) => [
      batch,
      ...CONTENDERS.map((name) => fixed(row[name])),
      fixed(row.zebbridge / row['thread-safe function'], 3),
      fixed(row.zebbridge / row.obvious, 3),
      fixed(row.streamRatio, 2),
    ]),
  );
}

function otherTable() {
  return table(
    ['', ...runs.map((run) => run.title)],
    [
      [
        'one event, asked for by script until its callback runs, median',
        ...runs.map((run) => `${fixed(run.latency / 1000)} µs`),
      ],
      ['load of the module', ...runs.map((run) => `${fixed(run.loadTime / 1e6)} ms`)],
      ['one idle capture object, script heap', ...runs.map((run) => `${fixed(run.memoryPerCapture.heap, 0)} bytes`)],
      ['one idle capture object, process', ...runs.map((run) => `${fixed(run.memoryPerCapture.resident, 0)} bytes`)],
    ],
  );
}

function picture() {
  const width = 760,
    rowHeight = 22,
    left = 220,
    batch = '1024';
  const bars = runs.flatMap((run) =>
    CONTENDERS.map((name) => ({
      label: `${run.title}: ${name}`,
      value: run.events[batch][name],
      own: name.startsWith('zebbridge'),
    })),
  );
  const scale = (value) => Math.log10(Math.max(value, 1)) / Math.log10(Math.max(...bars.map((bar) => bar.value)) * 1.2);
  const height = 50 + bars.length * rowHeight;
  const rows = bars.map((bar, index) => {
    const y = 40 + index * rowHeight;
    const length = Math.max(2, scale(bar.value) * (width - left - 90));
    return (
      `<text x="${left - 8}" y="${y + 13}" text-anchor="end">${bar.label}</text>` +
      `<rect x="${left}" y="${y}" width="${length.toFixed(1)}" height="16" fill="${bar.own ? '#1a7f5a' : '#9aa5b1'}"/>` +
      `<text x="${left + length + 6}" y="${y + 13}">${fixed(bar.value)} ns</text>`
    );
  });
  return (
    `<svg xmlns="http://www.w3.org/2000/svg" width="${width}" height="${height}" font-family="sans-serif" font-size="12">` +
    `<rect width="100%" height="100%" fill="white"/><text x="12" y="22" font-size="14">One pointer record from a worker thread to a script callback, batches of ${batch} (logarithmic)</text>` +
    `${rows.join('')}</svg>\n`
  );
}

const cpu = os.cpus()[0].model.trim();
const text = `# Measured

${new Date().toISOString().slice(0, 10)}, ${os.cpus().length} × ${cpu}, ${Math.round(os.totalmem() / 2 ** 30)} GiB. Written by \`./zeb bench\`.

Absolute times drift with the machine, so compare within a run: all figures of a column come from one process, and ratios
are medians of the rounds' own ratios. "windows" is the Windows Node.js under Wine, "linux" the same sources natively.
All contenders are built by one toolchain with the same flags.

## Calls

Plain loops with nothing subtracted. "raw" calls the engine's own callback; \`getButtonState\` includes the system's call.

${callsTable()}

## Events

One record \`{ offset: { x, y }, screenPoint: { x, y } }\` from a worker thread to a script callback, in nanoseconds,
the worker's side included. The event loop finds each batch waiting: what the system takes to wake a sleeping thread is
the same for all and left out; the latency below has it. "zebbridge" is the plain callback of a capture object,
"zebbridge/pointer" a listener of a stream over it. "obvious" makes the objects property by property in the wake-up's callback; "thread-safe function" is one
queued call per record; "pure script" builds the record and calls the function without any native code.

${runs.map((run) => `**${run.title}** (${run.node}, ${fixed(run.records, 0)} records)\n\n${eventsTable(run)}`).join('\n\n')}

![](results.svg)

${mouseSections(resultsFolder)}

## The rest

${otherTable()}
`;
fs.writeFileSync(path.join(outputFolder, 'RESULTS.md'), text);
fs.writeFileSync(path.join(outputFolder, 'results.svg'), picture());
console.log(text);

// docs/api/pointer.md promises this.
for (const { title, events } of runs) {
  if (events[64].streamRatio <= 1.3) continue;
  console.error(
    `${title}: a stream's listener costs ${fixed(events[64].streamRatio, 2)} times the plain callback, not 1.3`,
  );
  process.exitCode = 1;
}
