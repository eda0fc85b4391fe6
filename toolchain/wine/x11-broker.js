// Moves the X server's pointer for programs inside Wine, which can reach a loopback port but no X tools. ./desktop starts
// it. It writes its port to stdout and serves
//
//   POST /xdotool     body: JSON array of arguments; answer: JSON { status, stdout, stderr }
//   GET  /screenshot  answer: the whole screen as PNG
//
// usage: node x11-broker.js FRAMEBUFFER   (the file of Xvfb's -fbdir, in the format of X window dumps)
'use strict';
const fs = require('node:fs');
const http = require('node:http');
const zlib = require('node:zlib');
const { execFile } = require('node:child_process');

const framebuffer = process.argv[2];
const VERBS = new Set([
  'mousemove',
  'mousemove_relative',
  'mousedown',
  'mouseup',
  'click',
  'key',
  'keydown',
  'keyup',
  'type',
  'search',
  'getmouselocation',
  'getwindowname',
  'getwindowgeometry',
  'windowfocus',
  'windowactivate',
]);

function xdotool(args) {
  return new Promise((resolve) => {
    execFile('xdotool', args, { timeout: 20000 }, (error, stdout, stderr) => {
      resolve({ status: error ? (typeof error.code === 'number' ? error.code : 124) : 0, stdout, stderr });
    });
  });
}

function crc32(bytes) {
  let crc = ~0;
  for (const byte of bytes) {
    crc ^= byte;
    for (let bit = 0; bit < 8; ++bit) crc = (crc >>> 1) ^ (crc & 1 ? 0xedb88320 : 0);
  }
  return ~crc >>> 0;
}

function pngChunk(type, data) {
  const body = Buffer.concat([Buffer.from(type, 'latin1'), data]);
  const chunk = Buffer.alloc(body.length + 8);
  chunk.writeUInt32BE(data.length, 0);
  body.copy(chunk, 4);
  chunk.writeUInt32BE(crc32(body), chunk.length - 4);
  return chunk;
}

// A window dump has a header of 32-bit big-endian fields, the colour map (12 bytes per entry), then rows of B, G, R,
// unused.
function screenshot() {
  const dump = fs.readFileSync(framebuffer);
  const field = (index) => dump.readUInt32BE(4 * index);
  const [headerSize, width, height, bytesPerLine, colours] = [field(0), field(4), field(5), field(12), field(19)];
  const pixels = headerSize + 12 * colours;
  const rows = Buffer.alloc(height * (1 + 3 * width));
  for (let y = 0, to = 0; y < height; ++y) {
    rows[to++] = 0; // no filter
    for (let x = 0, from = pixels + y * bytesPerLine; x < width; ++x, from += 4) {
      rows[to++] = dump[from + 2];
      rows[to++] = dump[from + 1];
      rows[to++] = dump[from];
    }
  }
  const header = Buffer.alloc(13);
  header.writeUInt32BE(width, 0);
  header.writeUInt32BE(height, 4);
  header.set([8, 2], 8); // 8 bits per channel, RGB
  return Buffer.concat([
    Buffer.from('\x89PNG\r\n\x1a\n', 'latin1'),
    pngChunk('IHDR', header),
    pngChunk('IDAT', zlib.deflateSync(rows)),
    pngChunk('IEND', Buffer.alloc(0)),
  ]);
}

async function answer(request, body) {
  if (request.method === 'GET' && request.url === '/screenshot') return ['image/png', screenshot()];
  if (request.method !== 'POST' || request.url !== '/xdotool') throw new Error(`no ${request.method} ${request.url}`);
  const args = JSON.parse(body).map(String);
  if (!VERBS.has(args[0])) throw new Error(`xdotool verb not offered: ${args[0]}`);
  return ['application/json', JSON.stringify(await xdotool(args))];
}

const server = http.createServer((request, response) => {
  const parts = [];
  request
    .on('data', (part) => parts.push(part))
    .on('end', async () => {
      try {
        const [type, content] = await answer(request, Buffer.concat(parts).toString());
        response.writeHead(200, { 'Content-Type': type }).end(content);
      } catch (error) {
        response.writeHead(400, { 'Content-Type': 'text/plain' }).end(error.message);
      }
    });
});
server.listen(0, '127.0.0.1', () => console.log(server.address().port));
