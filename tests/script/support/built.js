// What was built. 'node' stands for the Node.js that runs: its release has a folder of its own.
'use strict';
const path = require('node:path');

const folderOf = (flavour) => (flavour === 'node' ? process.env.ZEB_FLAVOUR || flavour : flavour);

module.exports = { buildFile: (flavour, name) => path.join(process.env.ZEB_BUILD, folderOf(flavour), name) };
