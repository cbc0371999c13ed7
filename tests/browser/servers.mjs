// Starts servers of a build and a real browser for the scripts of this folder.

import { spawn } from 'node:child_process';
import { mkdtempSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { chromium } from 'playwright-core';

/// Serves the sample application under a configuration, without an admin listener, until this process ends;
/// resolves to the address.
export function serveSample(build, configuration) {
  const config = join(mkdtempSync(join(tmpdir(), 'sample-')), 'webcontainer.toml');
  writeFileSync(config, `${configuration}\n[Admin]\nListen = ""\n`);
  const server = spawn(join(build, 'bin/webcontainer'),
    ['--config', config, '--app', join(build, 'lib/libsample.so'), '--listen', '127.0.0.1:0'],
    { stdio: ['ignore', 'pipe', 'inherit'] });
  process.on('exit', () => server.kill());
  return new Promise((resolve, reject) => {
    server.stdout.on('data', text => /serving http:/.test(text) && resolve(/http:\S+/.exec(text)[0]));
    server.on('exit', code => reject(new Error(`the server ended with ${code}`)));
  });
}

export function openBrowser() {
  return chromium.launch({
    executablePath: '/usr/bin/chromium',
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
      '--disable-component-update', '--disable-sync'],
  });
}
