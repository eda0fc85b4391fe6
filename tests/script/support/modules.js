// The package's own script over a native module that the test chooses, instead of the one that the loader would find.
'use strict';
const fs = require('node:fs');
const path = require('node:path');
const vm = require('node:vm');

const root = path.join(__dirname, '..', '..', '..');

// Separate copies of the modules: { index, pointer, updates }. Not every stand-in has every component.
function packageOver(native, supported = true) {
  const loaded = new Map([
    [path.join(root, 'lib', 'native.js'), { exports: { native: { windows: {}, ...native }, supported } }],
  ]);
  const load = (file) => {
    if (!loaded.has(file)) {
      const module = { exports: {} };
      loaded.set(file, module);
      const requireFrom = (name) =>
        name.startsWith('.') ? load(path.resolve(path.dirname(file), name)) : require(name);
      const parameters = ['module', 'exports', 'require', '__filename', '__dirname'];
      vm.compileFunction(fs.readFileSync(file, 'utf8'), parameters, { filename: file })(
        module,
        module.exports,
        requireFrom,
        file,
        path.dirname(file),
      );
    }
    return loaded.get(file).exports;
  };
  return {
    get index() {
      return load(path.join(root, 'index.js'));
    },
    get pointer() {
      return load(path.join(root, 'pointer.js'));
    },
    get updates() {
      return load(path.join(root, 'updates.js'));
    },
  };
}

module.exports = { root, packageOver };
