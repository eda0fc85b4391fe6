// Applies a package of the application as an update of the installed one, and says so when that fails.
//
//   node update.js https://example.com/app.msix
'use strict';
const { msix_auto_updater } = require('zebbridge');

msix_auto_updater.setErrorHandler((message) => {
  console.error('update failed:', message);
  process.exitCode = 1;
});

// An address that is none would end the process, so look at it first.
const address = process.argv[2];
if (!URL.canParse(address)) {
  console.error('not an absolute address:', address);
  process.exit(2);
}
msix_auto_updater.applyUpdate(address);
console.log('updating from', address);
// A success is silent: Windows ends the application to replace it. Until then the process stays alive.
