// What index.d.ts declares: tests know the exports and their methods from there, and the module is held against it.
'use strict';
const fs = require('node:fs');
const path = require('node:path');

const types = fs.readFileSync(path.join(__dirname, '../../../index.d.ts'), 'utf8');

function methodsOf(name) {
  const [, body] = new RegExp(`^export interface ${name} \\{\\n(.*?)^\\}`, 'ms').exec(types);
  return [...body.matchAll(/^ {2}(\w+)\(/gm)].map(([, method]) => method);
}

module.exports = {
  // Each component's methods, under its export; both in the order in which script enumerates them.
  components: Object.fromEntries(
    [...types.matchAll(/^export const (\w+): ([A-Z]\w+);$/gm)].map(([, name, type]) => [name, methodsOf(type)]),
  ),
  capture: methodsOf('PointerCapture'),
};
