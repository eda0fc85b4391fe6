// The archive that `./zeb kit` makes, for the tests of the kit.
'use strict';
const fs = require('node:fs');
const path = require('node:path');
const { folder, manifest } = require('../package/support/package.js');
const { run } = require('../package/support/run.js');

const name = `zebbridge-${manifest.version}-windows-check`;

// Makes the folder `name` in another one; returns what that gave, as run() does.
const unpack = (target) => run('python3', ['-m', 'zipfile', '-e', path.join(folder, `${name}.zip`), target]);

const filesBelow = (top) =>
  fs
    .readdirSync(top, { recursive: true })
    .filter((file) => fs.statSync(path.join(top, file)).isFile())
    .sort();

module.exports = { filesBelow, name, unpack };
