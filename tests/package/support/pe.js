'use strict';

const fs = require('node:fs');

// A reader of PE32+ images: what tests want to know about a finished binary.
class Image {
  constructor(path) {
    this.bytes = fs.readFileSync(path);
    const header = this.bytes.readUInt32LE(0x3c);
    if (this.bytes.toString('latin1', header, header + 4) !== 'PE\0\0') throw new Error(`${path}: not a PE image`);
    this.machine = this.bytes.readUInt16LE(header + 4);
    const sectionCount = this.bytes.readUInt16LE(header + 6);
    this.timeStamp = this.bytes.readUInt32LE(header + 8);
    const optional = header + 24;
    if (this.bytes.readUInt16LE(optional) !== 0x20b) throw new Error(`${path}: not PE32+`);
    this.base = this.bytes.readBigUInt64LE(optional + 24);
    this.characteristics = this.bytes.readUInt16LE(optional + 70);
    this.directories = Array.from({ length: this.bytes.readUInt32LE(optional + 108) }, (_, index) => ({
      rva: this.bytes.readUInt32LE(optional + 112 + 8 * index),
      size: this.bytes.readUInt32LE(optional + 116 + 8 * index),
    }));
    const sections = optional + this.bytes.readUInt16LE(header + 20);
    this.sections = Array.from({ length: sectionCount }, (_, index) => {
      const at = sections + 40 * index;
      return {
        name: this.bytes.toString('latin1', at, at + 8).replace(/\0+$/, ''),
        size: this.bytes.readUInt32LE(at + 8),
        rva: this.bytes.readUInt32LE(at + 12),
        fileSize: this.bytes.readUInt32LE(at + 16),
        offset: this.bytes.readUInt32LE(at + 20),
        flags: this.bytes.readUInt32LE(at + 36),
      };
    });
  }

  offset(rva) {
    const section = this.sections.find((each) => rva >= each.rva && rva < each.rva + each.fileSize);
    if (!section) throw new Error(`no bytes at ${rva.toString(16)}`);
    return section.offset + rva - section.rva;
  }

  rva(offset) {
    const section = this.sections.find((each) => offset >= each.offset && offset < each.offset + each.fileSize);
    return section.rva + offset - section.offset;
  }

  text(rva) {
    const start = this.offset(rva);
    return this.bytes.toString('latin1', start, this.bytes.indexOf(0, start));
  }

  u32(rva) {
    return this.bytes.readUInt32LE(this.offset(rva));
  }

  u64(rva) {
    return this.bytes.readBigUInt64LE(this.offset(rva));
  }

  get exports() {
    const { rva, size } = this.directories[0];
    if (!size) return [];
    const names = this.u32(rva + 32);
    return Array.from({ length: this.u32(rva + 24) }, (_, index) => this.text(this.u32(names + 4 * index)));
  }

  // [{ dll, functions }] of the normal imports (directory 1) or the delayed ones (directory 13).
  importsOf(directory) {
    const { rva, size } = this.directories[directory];
    const [step, name, table] = directory === 1 ? [20, 12, 0] : [32, 4, 16];
    const result = [];
    for (let at = rva; size && this.u32(at + name) !== 0; at += step) {
      const functions = [];
      for (let entry = this.u32(at + table); this.u64(entry) !== 0n; entry += 8) {
        const value = this.u64(entry);
        functions.push(value >> 63n ? `#${value & 0xffffn}` : this.text(Number(value) + 2));
      }
      result.push({ dll: this.text(this.u32(at + name)), functions });
    }
    return result;
  }

  get imports() {
    return this.importsOf(1);
  }

  get delayedImports() {
    return this.importsOf(13);
  }

  // From the load configuration: the flags and the number of functions in the control-flow guard table, the number of
  // continuations of exception handlers, and where the loader looks for the DLLs that the image needs.
  get guard() {
    const { rva } = this.directories[10];
    return {
      functions: Number(this.u64(rva + 136)),
      flags: this.u32(rva + 144),
      continuations: Number(this.u64(rva + 272)),
    };
  }

  get securityCookie() {
    return this.u64(this.directories[10].rva + 88);
  }

  get dependentLoadFlags() {
    return this.bytes.readUInt16LE(this.offset(this.directories[10].rva + 78));
  }

  // The PDB that debuggers look for, whether the image is marked as reproducible, and its further properties.
  get debug() {
    const { rva, size } = this.directories[6];
    const result = { reproducible: false, properties: 0 };
    for (let at = rva; at < rva + size; at += 28) {
      const type = this.u32(at + 12);
      if (type === 2) result.pdb = this.text(this.u32(at + 20) + 24);
      if (type === 16) result.reproducible = true;
      if (type === 20) result.properties = this.u32(this.u32(at + 20));
    }
    return result;
  }

  // The first resource of a type, as bytes.
  resource(type) {
    const root = this.directories[2].rva;
    const entries = (at) => {
      const count = this.bytes.readUInt16LE(this.offset(at + 12)) + this.bytes.readUInt16LE(this.offset(at + 14));
      return Array.from({ length: count }, (_, index) => ({
        id: this.u32(at + 16 + 8 * index),
        target: root + (this.u32(at + 20 + 8 * index) & 0x7fffffff),
      }));
    };
    const ofType = entries(root).find(({ id }) => id === type);
    if (!ofType) return undefined;
    const data = entries(entries(ofType.target)[0].target)[0].target;
    const start = this.offset(this.u32(data));
    return this.bytes.subarray(start, start + this.u32(data + 4));
  }

  // VERSIONINFO: { numbers: 'a.b.c.d', string(key) }, or undefined.
  get version() {
    const block = this.resource(16);
    if (!block) return undefined;
    const fixed = block.indexOf(Buffer.from([0xbd, 0x04, 0xef, 0xfe]));
    const [low, high] = [block.readUInt32LE(fixed + 8), block.readUInt32LE(fixed + 12)];
    const text = block.toString('utf16le');
    const string = (key) => text.match(new RegExp(`${key}\\0+([^\\0]+)`))?.[1];
    return { numbers: [low >>> 16, low & 0xffff, high >>> 16, high & 0xffff].join('.'), string };
  }
}

module.exports = { Image };
