'use strict';

const { linkAddress, packageAddress } = require('./lib/absolute_uri.js');
const constants = require('./lib/constants.js');
const { native, supported } = require('./lib/native.js');

// Wraps a component so that each function in `checks` checks, and may replace, the first argument of the method of its
// name. All other calls go to the native method unchanged, as do calls without arguments.
function checked(component, checks) {
  const face = {};
  for (const name of Object.keys(component)) {
    const check = checks[name] ?? ((first) => first);
    const methods = {
      [name](...values) {
        if (supported && this !== face) throw new TypeError('Illegal invocation');
        if (values.length > 0) values[0] = check(values[0], values[1]);
        return component[name](...values);
      },
    };
    face[name] = methods[name];
  }
  return face;
}

module.exports = {
  ...native,
  windows: checked(native.windows, { openExternalIgnoringAppLinking: linkAddress }),
  msix_auto_updater: checked(native.msix_auto_updater, { applyUpdate: packageAddress }),
  supported,
  ...constants,
};
