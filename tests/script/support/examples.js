// The examples as a user of the package runs them: `require('zebbridge')` returns the package, with the built module as
// its binary.
'use strict';
const path = require('node:path');
const { startScript } = require('./processes');

const INSTALLED = `
  const Module = require('node:module');
  const resolve = Module._resolveFilename;
  Module._resolveFilename = (request, ...rest) => {
    if (/\\/prebuilds\\/.*\\.node$/.test(request)) return file;
    return resolve(request.replace(/^zebbridge(?=$|\\/)/, () => ${JSON.stringify(path.resolve(__dirname, '../../..'))}), ...rest);
  };`;

// Starts examples/<name> with these arguments. `before` is a script that the test runs first; see startScript.
function startExample(name, values = [], { before = '', ...options } = {}) {
  const example = path.join(__dirname, '..', '..', '..', 'examples', name);
  return startScript(
    `${INSTALLED}
    process.argv = [process.execPath, ${JSON.stringify([example, ...values].map(String)).slice(1)};
    {${before}}
    require(${JSON.stringify(example)});`,
    options,
  );
}

// Starts a piece of script from a page in the same way.
const startPiece = (text, { before = '', ...options } = {}) =>
  startScript(`${INSTALLED}\n{${before}}\n${text}`, options);

module.exports = { startExample, startPiece, runExample: (...values) => startExample(...values).ended };
