'use strict';

// The native methods end the process when Windows takes a text for no absolute URI, and Windows's parser is not the one
// of the web. So an address goes through the web's parser, what both understand is handed on as that parser writes it,
// and what only one of them takes is refused.

const SCHEME = /^[a-z][a-z0-9+.-]*$/i;

function invalid(input, why) {
  return Object.assign(new TypeError(`Invalid URL: ${why}`), { code: 'ERR_INVALID_URL', input });
}

// The schemes that the caller adds to the list, as the parser writes them: in lower case.
function widened(schemes, options) {
  const more = options?.schemes ?? [];
  if (!Array.isArray(more) || !more.every((scheme) => typeof scheme === 'string' && SCHEME.test(scheme))) {
    const message = 'The option "schemes" must be an array of schemes, each a text without its colon.';
    throw Object.assign(new TypeError(message), { code: 'ERR_INVALID_ARG_VALUE' });
  }
  return new Set([...schemes, ...more.map((scheme) => scheme.toLowerCase())]);
}

// Gives what to hand to the native method, or throws a TypeError.
function absoluteUri(value, schemes, options) {
  const allowed = widened(schemes, options);
  const input = `${value}`; // as the native methods convert: what this throws is the caller's
  let url;
  try {
    url = new URL(input);
  } catch {
    throw invalid(input, 'it is no absolute address');
  }
  const scheme = url.protocol.slice(0, -1);
  if (scheme.length === 1) throw invalid(input, `"${scheme}:" is a drive, not a scheme`);
  if (!allowed.has(scheme)) {
    throw invalid(input, `the scheme "${scheme}:" is none of ${[...allowed].map((each) => `${each}:`).join(', ')}`);
  }
  if (/%(?![0-9a-f]{2})/i.test(url.href)) throw invalid(input, 'a "%" must be followed by two hexadecimal digits');
  return url.href.replaceAll(' ', '%20'); // the web's parser leaves those behind a scheme that it does not know
}

module.exports = {
  linkAddress: (value, options) => absoluteUri(value, ['http', 'https', 'mailto'], options),
  packageAddress: (value, options) => absoluteUri(value, ['http', 'https', 'file'], options),
};
