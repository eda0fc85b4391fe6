'use strict';
// bundle.js LIBRARIES CONTENT: bundles the event log's thread and the library that it uses into one text in the package
// (CONTENT/lib/event_worker_source.js), and appends the library's licence to CONTENT/THIRD_PARTY_NOTICES.
const fs = require('node:fs');
const path = require('node:path');

const [, , libraries, content] = process.argv;
const modules = path.join(libraries, 'node_modules');
const { buildSync } = require(path.join(modules, 'esbuild'));
const inLibrary = (name) => path.join(content, 'lib', name);

const {
  outputFiles: [output],
  metafile,
} = buildSync({
  absWorkingDir: content,
  entryPoints: [inLibrary('event_worker.js')],
  nodePaths: [modules],
  bundle: true,
  minify: true,
  write: false,
  metafile: true,
  format: 'cjs',
  platform: 'node',
  target: 'node20',
  legalComments: 'none', // the notices have the licences
});

const head = fs
  .readFileSync(inLibrary('event_worker_source.js'), 'utf8')
  .split('module.exports')[0]
  .replace("const path = require('node:path');\n\n", '');
fs.writeFileSync(inLibrary('event_worker_source.js'), `${head}module.exports = ${JSON.stringify(output.text)};\n`);
for (const input of Object.keys(metafile.inputs)) {
  const file = path.resolve(content, input);
  if (path.dirname(file) === path.join(content, 'lib') && !file.endsWith('_source.js')) fs.rmSync(file);
}

const packages = new Set(
  Object.keys(metafile.inputs)
    .map((input) => /node_modules\/((@[^/]+\/)?[^/]+)/.exec(input)?.[1])
    .filter(Boolean),
);
for (const name of packages) {
  const { version, homepage, license } = JSON.parse(fs.readFileSync(path.join(modules, name, 'package.json'), 'utf8'));
  const licence = fs.readFileSync(path.join(modules, name, 'LICENSE'), 'utf8').trim();
  const line = '='.repeat(100);
  fs.appendFileSync(
    path.join(content, 'THIRD_PARTY_NOTICES'),
    `\n${line}\n${name} ${version} (${homepage}), in lib/event_worker_source.js: ${license} License\n${line}\n\n${licence}\n`,
  );
}
