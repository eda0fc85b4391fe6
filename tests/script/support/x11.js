// The X server's pointer, keys and windows, for test scripts in the Windows Node.js. The events go the way of real
// ones: X server, Wine, raw input. Works in a desktop session (toolchain/wine/desktop), which sets ZEB_X11_PORT.
'use strict';
const http = require('node:http');

const port = Number(process.env.ZEB_X11_PORT || 0);

function request(method, path, body) {
  return new Promise((resolve, reject) => {
    const call = http.request({ host: '127.0.0.1', port, method, path, agent: false }, (response) => {
      const parts = [];
      response
        .on('data', (part) => parts.push(part))
        .on('error', reject)
        .on('end', () => {
          const content = Buffer.concat(parts);
          if (response.statusCode === 200) resolve(content);
          else reject(new Error(`X11 broker: ${content}`));
        });
    });
    call.on('error', reject).end(body);
  });
}

// Runs xdotool and returns its standard output. Rejects if it fails, unless the status is allowed.
async function xdotool(args, allowedStatus = 0) {
  const result = JSON.parse(await request('POST', '/xdotool', JSON.stringify(args)));
  if (result.status !== 0 && result.status !== allowedStatus) {
    throw new Error(`xdotool ${args.join(' ')}: status ${result.status} ${result.stderr}`);
  }
  return result.stdout;
}

const x11 = {
  available: port !== 0, // tests that need a desktop skip themselves if false
  xdotool,

  move: (dx, dy) => xdotool(['mousemove_relative', '--', dx, dy]),
  moveTo: (x, y) => xdotool(['mousemove', x, y]),
  press: (button = 1) => xdotool(['mousedown', button]),
  release: (button = 1) => xdotool(['mouseup', button]),
  click: (button = 1, count = 1) => xdotool(['click', '--repeat', count, '--delay', 20, button]),
  key: (name, window) => xdotool(window ? ['key', '--window', window, name] : ['key', name]),

  async position() {
    const [, x, y] = /x:(-?\d+) y:(-?\d+)/.exec(await xdotool(['getmouselocation']));
    return { x: Number(x), y: Number(y) };
  },

  // The ids of visible windows whose title matches (a regular expression of xdotool); empty if there is none.
  async search(title) {
    return (await xdotool(['search', '--onlyvisible', '--name', title], 1)).split('\n').filter(Boolean);
  },

  async waitForWindow(title, milliseconds = 10000) {
    for (const deadline = Date.now() + milliseconds; ; ) {
      const [window] = await x11.search(title);
      if (window) return window;
      if (Date.now() > deadline) throw new Error(`no window titled ${title} within ${milliseconds} ms`);
      await new Promise((resolve) => setTimeout(resolve, 50));
    }
  },

  screenshot: () => request('GET', '/screenshot'), // PNG bytes
};

module.exports = x11;
