// "msix_auto_updater" over scripted deployments that end when and how a test says.
'use strict';
const path = require('node:path');
const { runScript } = require('./processes');

const uri = 'https://example.com/app.msix';

module.exports = {
  uri,
  ACCESS_DENIED: -2147024891,

  // Runs a script in its own process, with the stand-ins available and installed.
  child: (script, configuration = {}, options = {}) =>
    runScript(
      `
  const { winrt, eventlog } = require(${JSON.stringify(path.join(__dirname, 'standins.js'))});
  const updater = zebbridge.msix_auto_updater;
  const uri = ${JSON.stringify(uri)};
  winrt.configure(${JSON.stringify(configuration)});
  ${script}`,
      options,
    ),
};
