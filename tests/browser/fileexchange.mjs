// node fileexchange.mjs BUILD
//
// Drives the sample application's file exchange with Chromium, with and without scripts: files go up with
// progress to be seen, come down byte for byte, and are deleted; an upload that is cancelled half-way leaves
// nothing. Needs `npm install` here and Debian's chromium. Ends with 1 and the reason when a step fails.

import assert from 'node:assert/strict';
import { randomBytes } from 'node:crypto';
import { mkdirSync, mkdtempSync, readdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { basename, join } from 'node:path';
import { openBrowser, serveSample } from './servers.mjs';

const folder = mkdtempSync(join(tmpdir(), 'exchange-'));
process.on('exit', () => rmSync(folder, { recursive: true }));
const store = join(folder, 'store');
mkdirSync(store);
process.env.SAMPLE_FILES = store;

const sizes = { 'photo 🎉 übergröße.jpg': 3_000_000, "<b>it's & so on.txt": 1234, 'empty.dat': 0 };
const files = Object.entries(sizes).map(([name, size]) => {
  const path = join(folder, name);
  writeFileSync(path, randomBytes(size));
  return path;
});

const names = page => page.locator('.files bdi').allTextContents();

async function expectSame(page, path) {
  const [download] = await Promise.all([
    page.waitForEvent('download'),
    page.locator('.files a', { hasText: basename(path) }).click(),
  ]);
  assert.deepEqual(readFileSync(await download.path()), readFileSync(path), basename(path));
  return download.suggestedFilename();
}

/// So slow a connection that what happens during an upload can be seen, in bytes each second.
async function slowDown(page, uploadThroughput) {
  const session = await page.context().newCDPSession(page);
  await session.send('Network.enable');
  await session.send('Network.emulateNetworkConditions',
    { offline: false, latency: 0, downloadThroughput: -1, uploadThroughput });
}

/// The values that the progress bar takes while it is shown, without repetitions.
async function watchProgress(page) {
  const seen = new Set();
  await page.locator('progress').waitFor();
  while (await page.locator('progress').isVisible().catch(() => false)) {
    seen.add(await page.locator('progress').evaluate(bar => bar.value).catch(() => 0));
    await page.waitForTimeout(50);
  }
  return [...seen].filter(value => value > 0 && value < 1);
}

async function withScripts(browser, address) {
  const page = await browser.newPage();
  const errors = [];
  page.on('console', message => message.type() === 'error' && errors.push(message.text()));
  page.on('pageerror', error => errors.push(error.message));
  await page.goto(`${address}files`);

  await slowDown(page, 1_000_000);
  await page.setInputFiles('input[type=file]', files);
  await page.click('text=Upload');
  const progress = await watchProgress(page);
  assert.ok(progress.length >= 3, `the progress bar stood at ${progress}`);
  assert.deepEqual(progress, progress.toSorted((a, b) => a - b));
  console.log('three files uploaded, progress seen at',
    `${progress.map(value => Math.round(100 * value)).join(', ')} %`);

  await page.locator('.files').waitFor();
  assert.deepEqual(await names(page), files.map(path => basename(path)).toReversed());
  for (const path of files)
    console.log(`${basename(path)}: the same bytes, saved as ${await expectSame(page, path)}`);

  const before = readdirSync(store);
  await page.setInputFiles('input[type=file]', files);
  await page.click('text=Upload');
  while (await page.locator('progress').evaluate(bar => bar.value) < 0.4) await page.waitForTimeout(20);
  await page.click('text=Cancel');
  await page.getByText('Cancelled').waitFor();
  await page.waitForTimeout(1000);
  assert.deepEqual(readdirSync(store), before);
  await page.reload();
  assert.equal((await names(page)).length, files.length);
  console.log('an upload cancelled half-way left nothing, neither in the list nor on the disk');
  assert.deepEqual(errors, []);
  await page.close();
}

async function withoutScripts(browser, address) {
  const context = await browser.newContext({ javaScriptEnabled: false });
  const page = await context.newPage();
  await page.goto(`${address}files`);
  await page.setInputFiles('input[type=file]', files.slice(0, 2));
  await page.click('text=Upload');
  await page.waitForURL(`${address}files`);
  await page.locator('.files tbody tr').nth(files.length + 1).waitFor();
  console.log(`without scripts: ${(await names(page)).length} files, equal names beside each other`);
  for (let left = files.length + 2; left > 0; --left) {
    assert.equal(await page.locator('.files tbody tr').count(), left);
    await page.locator('.files button').first().click();
    await page.waitForURL(`${address}files`);
  }
  await page.getByText('Nothing here yet').waitFor();
  assert.deepEqual(readdirSync(store), []);
  console.log('all files deleted');
}

const address = await serveSample(process.argv[2], '');
const browser = await openBrowser();
await withScripts(browser, address);
await withoutScripts(browser, address);
process.exit(0);
