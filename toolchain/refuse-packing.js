// Runs when npm makes or installs a package from the checkout itself, where the binaries are missing.
'use strict';
console.error(`
zebbridge cannot be packed or installed from its checkout, because the package would have no binaries.
Make the package with "./zeb package", then publish or install build/package/zebbridge-<version>.tgz.
`);
process.exitCode = 1;
