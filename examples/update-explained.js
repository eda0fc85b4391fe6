// Updates the installed application from a package. If that fails, prints what Windows wrote to its event log since the
// start.
//
//   node update-explained.js https://example.com/app.msix
'use strict';
const { windows } = require('zebbridge');
const { applyUpdate, updateErrors, UpdateError } = require('zebbridge/updates');

async function main(address) {
  const since = new Date();
  try {
    windows.registerApplicationRestart(); // otherwise Windows does not restart the application after the update
    await applyUpdate(address); // if it succeeds, Windows closes the application
  } catch (error) {
    process.exitCode = 1;
    console.error('not updated:', error.message);
    if (!(error instanceof UpdateError)) return; // a bad address, for example
    for (const { time, text } of await updateErrors({ since, order: 'oldest' })) {
      console.error(time?.toISOString() ?? 'at an unknown time', text);
    }
  }
}

main(process.argv[2]);
