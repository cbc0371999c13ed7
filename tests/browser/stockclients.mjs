// node stockclients.mjs BUILD
//
// Talks to the sample application with clients as they come: curl, wrk, ab, Python's http.client, undici and
// Chromium; over kept and fresh connections, with bodies of known and unknown length. Needs `npm install` here,
// and Debian's curl, wrk, apache2-utils, python3 and chromium. Ends with 1 and the reason when a client fails.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { Readable } from 'node:stream';
import { Client } from 'undici';
import { openBrowser, serveSample } from './servers.mjs';

const build = process.argv[2];
const form = 'name=Zo%C3%AB&text=two+words';
const formType = 'application/x-www-form-urlencoded';

const run = (program, ...words) => execFileSync(program, words, { encoding: 'utf8', maxBuffer: 1 << 28 });

function curl(address) {
  const statuses = (...words) => run('curl', '-s', '-o', '/dev/null', '-w', '%{http_code} %{num_connects}\n', ...words);
  assert.equal(statuses(address, '--next', '-s', '-o', '/dev/null', '-w', '%{http_code} %{num_connects}\n',
    address + 'text'), '200 1\n200 0\n', 'a kept connection');
  assert.equal(statuses('--http1.0', address), '200 1\n');
  assert.equal(statuses('-I', address, '--next', '-s', '-o', '/dev/null', '-w', '%{http_code} %{num_connects}\n',
    address), '200 1\n200 0\n', 'HEAD has no body');
  assert.match(run('curl', '-s', '-d', form, address + 'form'), /Zoë/);
  assert.match(run('curl', '-s', '-d', form, '-H', 'Transfer-Encoding: chunked', address + 'form'), /two words/);
  assert.match(run('curl', '-s', '-d', form, '-H', 'Expect: 100-continue', address + 'form'), /two words/);
  assert.equal(statuses('-d', 'x'.repeat(100000), '-H', 'Expect:', address + 'missing'), '405 1\n');
}

function wrk(address) {
  const report = run('wrk', '-t2', '-c32', '-d2', address);
  assert.doesNotMatch(report, /Non-2xx|Socket errors/);
  assert.match(report, /\d+ requests in/);
}

function ab(address) {
  for (const words of [['-k'], [], ['-k', '-p', '/dev/null', '-T', formType]]) {
    const report = run('ab', '-q', '-n', '2000', '-c', '16', '-l', ...words, address + 'form');
    assert.match(report, /Failed requests: +0\n/);
    assert.match(report, /Complete requests: +2000\n/);
    assert.doesNotMatch(report, /Non-2xx/);
    if (words[0] === '-k') assert.match(report, /Keep-Alive requests: +2000\n/);
  }
}

function python(address) {
  run('python3', '-c', `
import http.client, sys
client = http.client.HTTPConnection(sys.argv[1])
def ask(method, path, body=None, fields={}, chunked=False):
    client.request(method, path, body, fields, encode_chunked=chunked)
    response = client.getresponse()
    return response.status, response.read().decode()
for _ in range(3):
    assert ask("GET", "/text")[0] == 200
form = {"Content-Type": "${formType}"}
assert "Zoë" in ask("POST", "/form", "${form}", form)[1]
pieces = iter([b"name=Zo%C3%AB", b"&text=two+words"])
assert "two words" in ask("POST", "/form", pieces, {**form, "Transfer-Encoding": "chunked"}, True)[1]
assert ask("GET", "/missing")[0] == 404
`, new URL(address).host);
}

async function undici(address) {
  const client = new Client(address, { pipelining: 8 });
  const ask = async (path, options = {}) => {
    const response = await client.request({ path, method: 'GET', ...options });
    return { status: response.statusCode, text: await response.body.text() };
  };
  const pages = await Promise.all(Array.from({ length: 40 }, (_, n) => ask(n % 2 ? '/text' : '/request?n=' + n)));
  pages.forEach(({ status, text }, n) => assert.ok(status === 200 && (n % 2 || text.includes('n=' + n)), `answer ${n}`));
  const headers = { 'content-type': formType };
  for (const body of [form, Readable.from([form.slice(0, 9), form.slice(9)])])
    assert.match((await ask('/form', { method: 'POST', headers, body })).text, /two words/);
  await client.close();
}

async function chromium(address) {
  const browser = await openBrowser();
  const page = await browser.newPage();
  const failures = [];
  page.on('response', response => response.status() >= 400 && failures.push(response.url()));
  page.on('requestfailed', request => failures.push(request.url()));
  await page.goto(address);
  for (const href of ['text', 'request', 'charset', 'form', 'calculator', 'redirect', 'conditional']) {
    await page.goto(address + href);
    assert.ok((await page.locator('h1').textContent()).length > 0, href);
  }
  await page.goto(address + 'form');
  await page.locator('input[type=text], input:not([type])').first().fill('Zoë & co');
  await page.locator('button').first().click();
  await page.getByText('Zoë & co').first().waitFor();
  assert.deepEqual(failures.filter(url => !url.endsWith('favicon.ico')), []);
  await browser.close();
}

const address = await serveSample(build, '[Log]\nLevel = "error"\n');
for (const client of [curl, wrk, ab, python, undici, chromium]) {
  await client(address);
  console.log(`${client.name}: well`);
}
process.exit(0);
