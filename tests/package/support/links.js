// The links of Markdown pages.
'use strict';

const fs = require('node:fs');
const path = require('node:path');

// The headings' anchors, as the usual hosts make them.
const anchors = (text) =>
  [...text.matchAll(/^#+ (.*)$/gm)].map(([, title]) =>
    title
      .toLowerCase()
      .replace(/[^\w -]/g, '')
      .replace(/ /g, '-'),
  );

// The links of a page to files and headings that do not exist.
function deadLinks(page) {
  const text = fs.readFileSync(page, 'utf8').replace(/```.*?```/gs, '');
  return [...text.matchAll(/\]\(([^)\s]+)\)/g)]
    .map(([, link]) => link)
    .filter((link) => {
      if (/^https?:/.test(link)) return false;
      const [file, anchor] = link.split('#');
      const target = file ? path.join(path.dirname(page), file) : page;
      return !fs.existsSync(target) || (anchor && !anchors(fs.readFileSync(target, 'utf8')).includes(anchor));
    });
}

module.exports = { deadLinks };
