'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const { test } = require('node:test');

// The lane has built the product a second time, from a copy of the sources in another folder.
const first = path.join(process.env.ZEB_BUILD, 'desktop');
const second = path.join(process.env.ZEB_BUILD, '../again/build/desktop');

for (const name of ['zebbridge.node', 'zebbridge.pdb']) {
  test(`${name} is the same, byte for byte`, () => {
    const [one, other] = [first, second].map((folder) => fs.readFileSync(path.join(folder, name)));
    const difference = one.findIndex((byte, index) => byte !== other[index]);
    assert.ok(one.equals(other), `${one.length} and ${other.length} bytes, different from ${difference} on`);
  });
}
