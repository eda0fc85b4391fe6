'use strict';

const fs = require('node:fs');
const path = require('node:path');

// The parts that the lane makes before the tests run.
const root = path.resolve(__dirname, '../../..');
const folder = path.resolve(process.env.ZEB_BUILD, '../package');
const manifest = JSON.parse(fs.readFileSync(path.join(root, 'package.json'), 'utf8'));
const tarball = path.join(folder, `zebbridge-${manifest.version}.tgz`);
const symbols = path.join(folder, `zebbridge-${manifest.version}-symbols.tgz`);
const sbom = path.join(folder, `zebbridge-${manifest.version}-sbom.cdx.json`);

// One entry per binary: the module version, its image and its PDB.
const binaries = ['123', '127', '137', '147'].map((abi) => ({
  abi,
  image: path.join(folder, 'content/prebuilds/win32-x64', `zebbridge.abi${abi}.node`),
  pdb: path.join(folder, 'symbols', `abi${abi}`, 'zebbridge.pdb'),
}));

module.exports = { root, folder, manifest, tarball, symbols, sbom, binaries };
