// Addresses as the package's own layer passes them on: the same texts through that layer, through the system's parser
// and through the classes that the native methods call. A text that one of the latter two refuses would end the
// process.
'use strict';
const { test, describe, before, after } = require('node:test');
const assert = require('node:assert');
const path = require('node:path');
const { winrt, system } = require('./support/standins');
const { schemes, addresses } = require('./support/addresses');
const { startPiece } = require('./support/examples');
const { linkAddress } = require('../../lib/absolute_uri.js');

const handedOn = (text) => {
  try {
    return linkAddress(text, { schemes });
  } catch (error) {
    assert.strictEqual(error.name, 'TypeError');
    assert.strictEqual(error.code, 'ERR_INVALID_URL');
    assert.strictEqual(error.input, text);
    return null;
  }
};
const taken = (text) => system.parseAddress(text) >= 0;

describe('the layer and the parser of the system', () => {
  test('are asked at least 200 different texts', () => {
    assert.ok(new Set(addresses.map(([text]) => text)).size >= 200);
  });

  test('the layer hands on what it should', () => {
    for (const [text, expected] of addresses) assert.strictEqual(handedOn(text), expected, JSON.stringify(text));
  });

  test('the system takes everything that the layer hands on', () => {
    const refused = addresses.filter(([, expected]) => expected !== null && !taken(expected));
    assert.deepStrictEqual(refused, []);
  });

  test('the system refuses texts that the usual check lets through', () => {
    const traps = ['C:\\x', 'a:', '%zz'].filter((text) => !taken(text));
    assert.ok(traps.length > 0, 'otherwise its parser was not asked at all');
    assert.ok(addresses.filter(([text]) => !taken(text) && URL.canParse(text)).length > 0);
  });

  test('nor does it refuse what the layer makes of random texts', () => {
    let seed = 20240229;
    const random = (limit) => {
      seed = (Math.imul(seed, 1103515245) + 12345) & 0x7fffffff;
      return (seed >>> 8) % limit;
    };
    const pieces = [
      'https:',
      'http:',
      'mailto:',
      'myapp:',
      'file:',
      '//',
      '/',
      '\\',
      'example.com',
      '[::1]',
      '127.0.0.1',
      ':80',
      ':',
      '@',
      '?',
      '#',
      '%',
      '%41',
      '%zz',
      ' ',
      '\t',
      'a',
      'ü',
      '😀',
      '\ud800',
      '\u0000',
      '\u00ad',
      '..',
      '.',
      '|',
      '"',
      '<',
      '^',
      '`',
      '{',
      '&',
      '=',
      ';',
      '+',
      '$',
      "'",
      '*',
      '~',
      'xn--',
      'C:',
      '1',
    ];
    let asked = 0;
    for (let round = 0; round < 20000; ++round) {
      let text = random(4) === 0 ? '' : `${pieces[random(5)]}${random(2) ? '//' : ''}`;
      for (let count = random(8); count > 0; --count) text += pieces[random(pieces.length)];
      const made = handedOn(text);
      if (made === null) continue;
      ++asked;
      assert.ok(taken(made), `${JSON.stringify(text)} became ${made}`);
    }
    assert.ok(asked > 1000, `${asked}`);
  });
});

describe('the schemes', () => {
  const invalid = { name: 'TypeError', code: 'ERR_INVALID_URL' };

  test('are those of the list', () => {
    assert.strictEqual(linkAddress('mailto:a@example.com'), 'mailto:a@example.com');
    assert.throws(() => linkAddress('ms-settings:'), {
      ...invalid,
      message: 'Invalid URL: the scheme "ms-settings:" is not one of http:, https:, mailto:',
    });
  });

  test('can be more, in any case', () => {
    assert.strictEqual(linkAddress('ms-settings:', { schemes: ['MS-Settings'] }), 'ms-settings:');
  });

  test('never include a drive', () => {
    assert.throws(() => linkAddress('C:\\x', { schemes: ['c'] }), {
      ...invalid,
      message: 'Invalid URL: "c:" is a drive, not a scheme',
    });
  });

  test('are named in an array of texts', () => {
    for (const wrong of ['ms-settings', [1], ['ms-settings:'], [''], {}, 0]) {
      assert.throws(() => linkAddress('ms-settings:', { schemes: wrong }), {
        name: 'TypeError',
        code: 'ERR_INVALID_ARG_VALUE',
        message: /"schemes"/,
      });
    }
  });

  test('what a conversion throws is thrown', () => {
    assert.throws(() => linkAddress(Symbol('a')), /Symbol/);
    const own = new Error('own');
    assert.throws(
      () =>
        linkAddress({
          toString() {
            throw own;
          },
        }),
      own,
    );
  });
});

describe('the package', () => {
  before(() => winrt.install());
  after(() => winrt.uninstall());
  const standins = JSON.stringify(path.join(__dirname, 'support', 'standins.js'));
  const texts = JSON.stringify(path.join(__dirname, 'support', 'addresses.js'));

  test('gives the launcher what the layer hands on, and outlives every other text', async () => {
    const { status, stdout, stderr } = await startPiece(
      `
      const { windows } = require('zebbridge');
      const { schemes, addresses } = require(${texts});
      winrt.configure();
      for (const [text, expected] of addresses) {
        try {
          windows.openExternalIgnoringAppLinking(text, { schemes });
          if (expected === null) throw new Error('was opened');
        } catch (error) {
          if (error.code !== 'ERR_INVALID_URL' || expected !== null) throw new Error(JSON.stringify(text), { cause: error });
        }
      }
      console.log(JSON.stringify(winrt.records().uris.map(({ text }) => text)));`,
      { before: `var { winrt } = require(${standins});`, milliseconds: 120000 },
    ).ended;
    assert.strictEqual(status, 0, stderr);
    assert.deepStrictEqual(
      JSON.parse(stdout),
      addresses.map(([, expected]) => expected).filter((each) => each !== null),
    );
  });

  test('gives the deployment only an address', async () => {
    const { status, stdout, stderr } = await startPiece(
      `
      const { msix_auto_updater } = require('zebbridge');
      winrt.configure();
      for (const text of ['app.msix', 'C:\\\\app.msix', 'https:', 'https://example.com/%zz', 'mailto:a@example.com']) {
        try {
          msix_auto_updater.applyUpdate(text);
        } catch ({ name, code }) {
          console.log(name, code);
        }
      }
      msix_auto_updater.applyUpdate('HTTPS://EXAMPLE.COM/a b.msix');
      process.on('exit', () => console.log(winrt.updates().map(({ uri }) => uri).join()));`,
      { before: `var { winrt } = require(${standins});` },
    ).ended;
    assert.strictEqual(status, 0, stderr);
    assert.strictEqual(stdout, `${'TypeError ERR_INVALID_URL\n'.repeat(5)}https://example.com/a%20b.msix\n`);
  });
});
