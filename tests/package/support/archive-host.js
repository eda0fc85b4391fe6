'use strict';

// A host that keeps an application's files in one archive. It is loaded before the application and makes the archive
// look like a folder to script. Binaries are unpacked beside the archive; the system does not know the name of one
// inside it.
//
// The archive is JSON, { path: text }; its path is in ZEB_ARCHIVE.
const fs = require('node:fs');
const Module = require('node:module');
const path = require('node:path');

const archive = process.env.ZEB_ARCHIVE;
const unpacked = `${archive}.unpacked`;
const files = new Map(Object.entries(JSON.parse(fs.readFileSync(archive, 'utf8'))));
const inside = (file) =>
  file.startsWith(archive + path.sep) ? file.slice(archive.length + 1).replaceAll('\\', '/') : undefined;

const resolve = Module._resolveFilename;
Module._resolveFilename = function (request, parent, ...rest) {
  if (files.has(inside(request))) return request;
  const from = parent?.filename && inside(parent.filename);
  if (from === undefined || Module.isBuiltin(request)) return resolve.call(this, request, parent, ...rest);
  const names = request.startsWith('.')
    ? [path.posix.join(path.posix.dirname(from), request)]
    : [`node_modules/${request}/index.js`, `node_modules/${request}.js`];
  const name = names.find((each) => files.has(each));
  if (name !== undefined) return path.join(archive, name);
  throw Object.assign(new Error(`Cannot find module '${request}'`), { code: 'MODULE_NOT_FOUND' });
};
Module._extensions['.js'] = ((extend) =>
  function (module, file) {
    const name = inside(file);
    if (name === undefined) return extend(module, file);
    module._compile(files.get(name), file);
  })(Module._extensions['.js']);

const dlopen = process.dlopen;
process.dlopen = (module, file, ...rest) => {
  const name = inside(file.replace(/^\\\\\?\\/, ''));
  const beside = name && path.join(unpacked, name);
  return dlopen(module, beside && fs.existsSync(beside) ? beside : file, ...rest);
};

require(path.join(archive, 'main.js'));
