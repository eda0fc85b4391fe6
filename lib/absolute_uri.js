'use strict';

// If Windows does not accept text as an absolute URI, the native methods end the process. Windows's parser differs from
// the web's. So every address goes through the web's parser first and reaches Windows as that parser writes it. An
// address that the web's parser accepts and Windows's may refuse is refused here.

const SCHEME = /^[a-z][a-z0-9+.-]*$/i;

function invalid(input, why) {
  return Object.assign(new TypeError(`Invalid URL: ${why}`), { code: 'ERR_INVALID_URL', input });
}

// The allowed schemes including those that the caller adds, in lower case as the parser writes them.
function widened(schemes, options) {
  const more = options?.schemes ?? [];
  if (!Array.isArray(more) || !more.every((scheme) => typeof scheme === 'string' && SCHEME.test(scheme))) {
    const message = 'The option "schemes" must be an array of schemes, each as text without its colon.';
    throw Object.assign(new TypeError(message), { code: 'ERR_INVALID_ARG_VALUE' });
  }
  return new Set([...schemes, ...more.map((scheme) => scheme.toLowerCase())]);
}

// Returns the address for the native method, or throws a TypeError.
function absoluteUri(value, schemes, options) {
  const allowed = widened(schemes, options);
  const input = `${value}`; // converted as the native methods do; the caller gets what this throws
  let url;
  try {
    url = new URL(input);
  } catch {
    throw invalid(input, 'it is not an absolute address');
  }
  const scheme = url.protocol.slice(0, -1);
  if (scheme.length === 1) throw invalid(input, `"${scheme}:" is a drive, not a scheme`);
  if (!allowed.has(scheme)) {
    throw invalid(input, `the scheme "${scheme}:" is not one of ${[...allowed].map((each) => `${each}:`).join(', ')}`);
  }
  if (/%(?![0-9a-f]{2})/i.test(url.href)) throw invalid(input, 'a "%" must be followed by two hexadecimal digits');
  return url.href.replaceAll(' ', '%20'); // the web's parser keeps spaces after a scheme that it does not know
}

module.exports = {
  linkAddress: (value, options) => absoluteUri(value, ['http', 'https', 'mailto'], options),
  packageAddress: (value, options) => absoluteUri(value, ['http', 'https', 'file'], options),
};
