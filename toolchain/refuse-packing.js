// Runs where npm would make or install a package from the checkout itself. There the binaries are missing.
'use strict';
console.error(`
zebbridge is not packed or installed from its checkout: the package would have no binaries.
Make it with "./zeb package"; then pack, publish or install build/package/zebbridge-<version>.tgz.
`);
process.exitCode = 1;
