// Applies a package of the application as an update of the installed one. When that fails, it prints what Windows wrote
// into its event log since the start.
//
//   node update-explained.js https://example.com/app.msix
'use strict';
const { applyUpdate, updateErrors, UpdateError } = require('zebbridge/updates');

async function main(address) {
  const since = new Date();
  try {
    await applyUpdate(address); // when it succeeds, Windows ends the application
  } catch (error) {
    process.exitCode = 1;
    console.error('not updated:', error.message);
    if (!(error instanceof UpdateError)) return; // the address is none, say
    for (const { time, text } of await updateErrors({ since, order: 'oldest' })) {
      console.error(time?.toISOString() ?? 'at an unknown time', text);
    }
  }
}

main(process.argv[2]);
