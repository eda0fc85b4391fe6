// The examples, as somebody runs them who has installed the package: `require('zebbridge')` gives the package, with the
// built module as its binary.
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

// Starts examples/<name> with these arguments, after `before`, a script of the test's own; see startScript.
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

// The same for a piece of script out of a page.
const startPiece = (text, { before = '', ...options } = {}) =>
  startScript(`${INSTALLED}\n{${before}}\n${text}`, options);

module.exports = { startExample, startPiece, runExample: (...values) => startExample(...values).ended };
