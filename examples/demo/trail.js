'use strict';
const fs = require('node:fs');
const path = require('node:path');

const COLOURS = { left: '#d1495b', middle: '#edae49', right: '#00798c' };

// Draws the pointer's path from light to dark, with a filled circle for each press and an empty one for each release.
function drawTrail(folder, points, transitions) {
  const lines = points.slice(1).map((point, index) => {
    const shade = Math.round(210 - (170 * index) / Math.max(points.length - 2, 1));
    const from = points[index];
    return `<line x1="${from.x}" y1="${from.y}" x2="${point.x}" y2="${point.y}" stroke="rgb(${shade},${shade},${shade})"/>`;
  });
  const marks = transitions.map(({ x, y, button, transition }) =>
    transition === 'pressed'
      ? `<circle cx="${x}" cy="${y}" r="9" fill="${COLOURS[button]}"/>` +
        `<text x="${x + 14}" y="${y + 5}">${button}</text>`
      : `<circle cx="${x}" cy="${y}" r="14" fill="none" stroke="${COLOURS[button]}"/>`,
  );
  const svg =
    '<svg xmlns="http://www.w3.org/2000/svg" width="1280" height="800" font-family="sans-serif" font-size="16">' +
    '<rect width="100%" height="100%" fill="white"/>' +
    `<g stroke-width="3" stroke-linecap="round">${lines.join('')}</g>${marks.join('')}</svg>\n`;
  const file = path.join(folder, 'pointer-trail.svg');
  fs.writeFileSync(file, svg);
  return file;
}

module.exports = { drawTrail };
