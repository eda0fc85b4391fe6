'use strict';

// Code against V8's C++ API is tied to one module version, so there is one binary per version. The version also tells
// the runtimes apart: no two share one.
const RUNTIMES = {
    123: 'desktop runtimes with module version 123',
    127: 'Node.js 22',
    137: 'Node.js 24',
    147: 'Node.js 26',
};

const { platform, arch } = process;
const moduleVersion = process.versions.modules;

if (platform === 'win32' && arch === 'x64' && moduleVersion in RUNTIMES) {
    module.exports = require(`./prebuilds/win32-x64/zebbridge.abi${moduleVersion}.node`);
} else {
    module.exports = refusingExports();
}

// Applications for several systems depend on this package on all of them. So it loads everywhere, with every export in
// place, and says what is wrong when one of its functions is called.
function refusingExports() {
    const message =
        `zebbridge has no binary for ${platform}-${arch} with module version ${moduleVersion}; ` +
        `it runs on win32-x64 in ${Object.values(RUNTIMES).join(', ')}.`;
    const refusing = (name) => {
        const refuse = () => {
            throw Object.assign(new Error(message), { code: 'ERR_ZEBBRIDGE_UNAVAILABLE' });
        };
        return Object.defineProperty(refuse, 'name', { value: name });
    };
    const component = (...names) => Object.fromEntries(names.map((name) => [name, refusing(name)]));
    return {
        crash_emitter: component('emitStackOverflow', 'emitAccessViolation'),
        diagnostics: component('setLogHandler'),
        hardware: component('getButtonState', 'capturePointer'),
        windows: component(
            'registerApplicationRestart',
            'openExternalIgnoringAppLinking',
            'getWindowsUpdateBuildRevision',
            'setWindowPlacement',
        ),
        msix_auto_updater: component('setErrorHandler', 'getUpdateErrors', 'applyUpdate', 'dispose'),
        shutdown: refusing('shutdown'),
    };
}
