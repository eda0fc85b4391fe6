// Updates the installed application from a package, and prints the error if that fails.
//
//   node update.js https://example.com/app.msix
'use strict';
const { msix_auto_updater, windows } = require('zebbridge');

msix_auto_updater.setErrorHandler((message) => {
  console.error('update failed:', message);
  process.exitCode = 1;
});

const address = process.argv[2];
try {
  windows.registerApplicationRestart(); // otherwise Windows does not restart the application after the update
  msix_auto_updater.applyUpdate(address);
  console.log('updating from', address);
} catch (error) {
  console.error(error.message); // not an absolute address, or not on this system
  process.exitCode = 2;
}
// Success is silent: Windows closes the application to replace it. Until then the process stays alive.
