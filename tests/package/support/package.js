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

// One entry per runtime of toolchain/versions. Only a Node.js has a version and a release.
const versions = fs.readFileSync(path.join(root, 'toolchain/versions'), 'utf8');
const pinned = (name) => new RegExp(`^${name}=(.*)$`, 'm').exec(versions)?.[1];
const binaries = pinned('RUNTIMES')
  .split(',')
  .map((runtime) => {
    const [flavour, abi] = runtime.split(':');
    const version = pinned(flavour.toUpperCase());
    const release = version?.split('.')[0];
    return {
      flavour,
      abi,
      version,
      release,
      name: release ? `Node.js ${release}` : `desktop runtimes with module version ${abi}`,
      image: path.join(folder, 'content/prebuilds/win32-x64', `zebbridge.abi${abi}.node`),
      pdb: path.join(folder, 'symbols', `abi${abi}`, 'zebbridge.pdb'),
    };
  });
const releases = binaries.flatMap(({ release }) => release ?? []);

module.exports = { root, folder, manifest, tarball, symbols, sbom, pinned, binaries, releases };
