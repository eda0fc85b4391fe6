// The package's own script over a native module of the test's choice, as the loader would have found it.
'use strict';
const path = require('node:path');

const root = path.join(__dirname, '..', '..', '..');
const loader = path.join(root, 'lib', 'native.js');
const ours = (file) => file.startsWith(root + path.sep) && !file.startsWith(path.join(root, 'tests'));

// Fresh copies of the modules: { index, pointer, updates }. Not every stand-in has every component.
function packageOver(native, supported = true) {
  for (const file of Object.keys(require.cache).filter(ours)) {
    if (!file.endsWith('.node')) delete require.cache[file];
  }
  require.cache[loader] = { id: loader, filename: loader, loaded: true, exports: { native: { windows: {}, ...native }, supported },
    children: [] };
  return {
    get index() {
      return require(path.join(root, 'index.js'));
    },
    get pointer() {
      return require(path.join(root, 'pointer.js'));
    },
    get updates() {
      return require(path.join(root, 'updates.js'));
    },
  };
}

module.exports = { root, packageOver };
