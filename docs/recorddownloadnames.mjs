// node recorddownloadnames.mjs BUILD > downloadnames.md
//
// Downloads files from the sample application with Chromium, in both settings of the RFC 2047 feature, and
// records the names that it saved them under. Needs `npm install` in tests/browser and Debian's chromium.

import { mkdtempSync, readdirSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { openBrowser, serveSample } from '../tests/browser/servers.mjs';

const names = [
  'report.pdf',
  'Q3 report: final?.xlsx',
  'résumé.pdf',
  'größe 5 € & more.txt',
  '日本語のファイル.txt',
  'party 🎉.png',
  'a;b#c"d.txt',
  '100%25 sure.txt',
  'a+b=c.txt',
  'x'.repeat(200) + '.txt',
  '長い名前'.repeat(30) + '.xlsx',
];

const settings = [
  ['RFC 2047 encoded words', '[Features]\n"HTTPFeatures.rfc2047Headers" = true\n'],
  ['URL encoding', '[Features]\n"HTTPFeatures.rfc2047Headers" = false\n'],
];

/// Lets the browser save one file into an empty folder, and returns what it called it.
async function saveAs(browser, address, name) {
  const folder = mkdtempSync(join(tmpdir(), 'saved-'));
  const page = await browser.newPage();
  const target = await (await page.context().newCDPSession(page)).send('Target.getTargetInfo');
  const { browserContextId } = target.targetInfo;
  const session = await browser.newBrowserCDPSession();
  const done = new Promise(resolve =>
    session.on('Browser.downloadProgress', event => event.state !== 'inProgress' && resolve(event.state)));
  await session.send('Browser.setDownloadBehavior',
    { behavior: 'allow', browserContextId, downloadPath: folder, eventsEnabled: true });
  await page.goto(`${address}download?name=${encodeURIComponent(name)}`).catch(() => {});  // it does not navigate
  const state = await done;
  await page.close();
  await session.detach();
  return state === 'completed' ? readdirSync(folder)[0] : `(${state})`;
}

/// The value of the header that the server sent.
async function headerOf(address, name) {
  const response = await fetch(`${address}download?name=${encodeURIComponent(name)}`);
  return Buffer.from(response.headers.get('content-disposition'), 'latin1').toString();
}

const cell = text => '`' + text.replaceAll('|', '\\|') + '`';
const browser = await openBrowser();
console.log(`# What a browser calls a download

Recorded by docs/recorddownloadnames.mjs with Chromium ${browser.version()}: as it came, good or bad. The limit
is the default one, 116 bytes of encoded name.`);
for (const [title, configuration] of settings) {
  const address = await serveSample(process.argv[2], configuration);
  console.log(`\n## ${title}\n\n| asked for | header | saved as |\n|---|---|---|`);
  for (const name of names)
    console.log(`| ${cell(name)} | ${cell(await headerOf(address, name))} ` +
      `| ${cell(await saveAs(browser, address, name))} |`);
}
process.exit(0);
