// "zebbridge/updates" over the harness, whose deployments and event log a test scripts.
'use strict';
const path = require('node:path');
const { addon } = require('./harness');
const { packageOver } = require('./modules');
const { runScript } = require('./processes');

const uri = 'https://example.com/app.msix';
const wrongOption = (name) => ({ name: 'TypeError', code: 'ERR_INVALID_ARG_VALUE', message: new RegExp(`"${name}"`) });

// A script in its own process with these functions.
const child = (script) =>
  runScript(
    `
  const { addon, harness, until, turn } = require(${JSON.stringify(path.join(__dirname, 'harness.js'))});
  const { packageOver } = require(${JSON.stringify(path.join(__dirname, 'modules.js'))});
  const { applyUpdate, updateErrors } = packageOver(addon).updates;
  const uri = ${JSON.stringify(uri)};
  ${script}`,
    { prelude: false, environment: { ASAN_OPTIONS: 'detect_leaks=0' } },
  );

module.exports = { ...packageOver(addon).updates, uri, wrongOption, child };
