// What was built. 'node' is the folder for the Node.js that runs: each release has its own.
'use strict';
const path = require('node:path');

const folderOf = (flavour) => (flavour === 'node' ? process.env.ZEB_FLAVOUR || flavour : flavour);

// Whether the engine is the desktop runtime's, 12.4. Later engines have other functions.
const hasProductsEngine = process.versions.v8.startsWith('12.4.');

module.exports = {
  hasProductsEngine,
  buildFile: (flavour, name) => path.join(process.env.ZEB_BUILD, folderOf(flavour), name),
};
