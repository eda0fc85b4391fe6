'use strict';

const { linkAddress, packageAddress } = require('./lib/absolute_uri.js');
const constants = require('./lib/constants.js');
const { native, supported } = require('./lib/native.js');

// A component whose named methods get their first argument through a check. Every other call, and every argument that
// is missing, reaches the native method as it is.
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
