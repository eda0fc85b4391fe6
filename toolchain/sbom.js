// sbom.js OUTPUT LIBCXX HEADERS...: writes a CycloneDX bill of materials of what the package's binaries are made of.
//
// LIBCXX is the folder of libc++'s sources; each of HEADERS is the include/node of one Node.js. The versions are read
// from there. The bundled libraries are those that libraries/package-lock.json pins.
'use strict';
const fs = require('node:fs');
const path = require('node:path');
const { Enums, Models, Serialize, Spec } = require('@cyclonedx/cyclonedx-library');
const manifest = require('../package.json');

const [output, libcxx, ...headers] = process.argv.slice(2);

function macros(file, ...names) {
  const text = fs.readFileSync(file, 'utf8');
  return names.map(
    (name) => new RegExp(`^# *define +${name} +(\\d+)`, 'm').exec(text)?.[1] ?? fail(`${file} has no ${name}`),
  );
}
function fail(message) {
  throw new Error(message);
}

function component(name, version, license, { type = Enums.ComponentType.Library, purl, description } = {}) {
  const made = new Models.Component(type, name, { version, bomRef: `${name}@${version}`, purl, description });
  made.licenses.add(license.includes(' ') ? new Models.LicenseExpression(license) : new Models.SpdxLicense(license));
  return made;
}

const purl = `pkg:npm/${manifest.name}@${manifest.version}`;
const root = component(manifest.name, manifest.version, manifest.license, { purl, description: manifest.description });

const [llvm] = macros(path.join(libcxx, 'include/__config'), '_LIBCPP_VERSION').map(Number); // 190107
const llvmVersion = [llvm / 10000, (llvm / 100) % 100, llvm % 100].map(Math.floor).join('.');
const parts = new Map();
const add = (...values) => {
  const part = component(...values);
  parts.set(part.bomRef.value, part);
};
add('libc++', llvmVersion, 'Apache-2.0 WITH LLVM-exception', { description: 'linked in' });
for (const folder of headers) {
  const inlined = { description: 'headers, compiled in' };
  const version = (file, ...names) => macros(path.join(folder, file), ...names).join('.');
  add(
    'Node.js',
    version('node_version.h', 'NODE_MAJOR_VERSION', 'NODE_MINOR_VERSION', 'NODE_PATCH_VERSION'),
    'MIT',
    inlined,
  );
  add(
    'V8',
    version('v8-version.h', 'V8_MAJOR_VERSION', 'V8_MINOR_VERSION', 'V8_BUILD_NUMBER', 'V8_PATCH_LEVEL'),
    'BSD-3-Clause',
    inlined,
  );
  add('libuv', version('uv/version.h', 'UV_VERSION_MAJOR', 'UV_VERSION_MINOR', 'UV_VERSION_PATCH'), 'MIT', inlined);
}
const { packages } = require('./libraries/package-lock.json');
for (const [place, { dev, version, license }] of Object.entries(packages)) {
  const name = place.replace(/^.*node_modules\//, '');
  if (place !== '' && !dev)
    add(name, version, license, { purl: `pkg:npm/${name.replace('@', '%40')}@${version}`, description: 'bundled in' });
}

const bom = new Models.Bom();
bom.metadata.component = root;
for (const part of parts.values()) {
  bom.components.add(part);
  root.dependencies.add(part.bomRef);
}
const serializer = new Serialize.JsonSerializer(new Serialize.JSON.Normalize.Factory(Spec.Spec1dot6));
fs.writeFileSync(output, `${serializer.serialize(bom, { sortLists: true, space: 2 })}\n`);
