// Shared pieces of the browser tests: a TavKeloASM of the test's own (simulated dyne, a free
// loopback port, its own instance name and INI file), Debian's Chromium through playwright-core,
// small HTTP helpers and a bounded polling wait.
'use strict';

const { spawn } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const crypto = require('node:crypto');
// The npm packages (playwright-core) live in this folder's node_modules; without them the tests
// cannot start a browser, and say how to install them instead of failing on a missing module.
const INSTALL_HINT = 'the browser tests need their npm packages: run "cd tests/e2e/browser && npm ci"';
let chromium;
try {
  ({ chromium } = require('playwright-core'));
} catch (e) {
  if (e.code !== 'MODULE_NOT_FOUND') throw e;
  console.error(INSTALL_HINT);
  process.exit(1);
}

const REPO = path.resolve(__dirname, '..', '..', '..');
const ARTIFACTS = path.join(REPO, 'tests', 'e2e', 'artifacts');
const CHROMIUM = process.env.TAVKELO_CHROMIUM || '/usr/bin/chromium';

function serverBinary() {
  const dir = process.env.TAVKELO_BIN_DIR || path.join(REPO, 'build', 'default', 'src');
  const bin = path.join(dir, 'TavKeloASM');
  if (!fs.existsSync(bin)) {
    throw new Error(`TavKeloASM not found at ${bin}: build it and set TAVKELO_BIN_DIR to its folder`);
  }
  return bin;
}

function tempDir(prefix) {
  return fs.mkdtempSync(path.join(os.tmpdir(), prefix));
}

// Starts the server and resolves when it has printed the address it serves.
async function startServer({ extraArgs = [] } = {}) {
  const dir = tempDir('tavkelo-browser-');
  const instance = `browser-${process.pid}-${crypto.randomBytes(4).toString('hex')}`;
  const args = ['--simulate', '--listen', '127.0.0.1:0', '--instance', instance,
                '--ini', path.join(dir, 'TavKeloASM.INI'), ...extraArgs];
  const child = spawn(serverBinary(), args, { cwd: dir, stdio: ['ignore', 'pipe', 'pipe'] });
  let stdout = '';
  let stderr = '';
  child.stdout.setEncoding('utf8');
  child.stderr.setEncoding('utf8');
  const exited = new Promise((resolve) => {
    child.on('exit', (code, signal) => resolve({ code, signal }));
  });
  const url = await new Promise((resolve, reject) => {
    const timer = setTimeout(() => reject(new Error(`TavKeloASM printed no address within 20 s:\n${stdout}\n${stderr}`)), 20000);
    child.stdout.on('data', (chunk) => {
      stdout += chunk;
      const m = /serving (http:\/\/127\.0\.0\.1:\d+)\//.exec(stdout);
      if (m) {
        clearTimeout(timer);
        resolve(m[1]);
      }
    });
    child.stderr.on('data', (chunk) => { stderr += chunk; });
    child.on('exit', (code, signal) => {
      clearTimeout(timer);
      reject(new Error(`TavKeloASM ended before serving (code ${code}, signal ${signal}):\n${stdout}\n${stderr}`));
    });
  });

  let stopped = null;
  const server = {
    url,
    dir,
    instance,
    output: () => `--- stdout\n${stdout}\n--- stderr\n${stderr}`,
    // SIGTERM, then the exit code (SIGKILL after 20 s, which the caller sees as a failure).
    async stop() {
      if (stopped) return stopped;
      stopped = (async () => {
        if (child.exitCode === null && child.signalCode === null) child.kill('SIGTERM');
        const timer = setTimeout(() => child.kill('SIGKILL'), 20000);
        const result = await exited;
        clearTimeout(timer);
        return result;
      })();
      return stopped;
    },
    // The temp folder, and what the server leaves behind under its instance name: the lock file
    // and the two named semaphores.
    cleanup() {
      fs.rmSync(dir, { recursive: true, force: true });
      const runtime = process.env.XDG_RUNTIME_DIR || '/tmp';
      const leftovers = [path.join(runtime, `TavKeloASM.${instance}.lock`),
                         `/dev/shm/sem.KeloReadingsLock.${instance}`,
                         `/dev/shm/sem.KeloInterfaceLock.${instance}`];
      for (const file of leftovers) fs.rmSync(file, { force: true });
    },
  };
  return server;
}

// Debian's Chromium, headless, with a fresh profile of its own.
async function launchBrowser({ width = 1280, height = 800 } = {}) {
  const userDataDir = tempDir('tavkelo-chromium-');
  const context = await chromium.launchPersistentContext(userDataDir, {
    executablePath: CHROMIUM,
    headless: true,
    viewport: { width, height },
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
           '--disable-background-networking', '--disable-component-update', '--disable-sync'],
  });
  const page = context.pages()[0] || await context.newPage();
  const errors = [];
  page.on('pageerror', (e) => errors.push(String(e)));
  return {
    context,
    page,
    errors,
    async close() {
      await context.close().catch(() => {});
      fs.rmSync(userDataDir, { recursive: true, force: true });
    },
  };
}

async function api(base, method, route, body) {
  const init = { method, headers: {} };
  // The server takes a state-changing request only with a JSON body type, a DELETE's too.
  if (body === undefined && method !== 'GET') body = {};
  if (body !== undefined) {
    init.headers['Content-Type'] = 'application/json';
    init.body = JSON.stringify(body);
  }
  const res = await fetch(base + route, init);
  const text = await res.text();
  let data = null;
  try { data = text ? JSON.parse(text) : null; } catch (e) { data = { text }; }
  return { status: res.status, data };
}

// Polls `probe` (sync or async) until it returns a truthy value; fails after `timeoutMs`.
async function waitFor(probe, { timeoutMs = 10000, intervalMs = 100, message = 'condition' } = {}) {
  const end = Date.now() + timeoutMs;
  let last;
  for (;;) {
    last = await probe();
    if (last) return last;
    if (Date.now() >= end) throw new Error(`timed out after ${timeoutMs} ms waiting for ${message}`);
    await new Promise((r) => setTimeout(r, intervalMs));
  }
}

function artifact(name) {
  fs.mkdirSync(ARTIFACTS, { recursive: true });
  return path.join(ARTIFACTS, name);
}

// Server and browser for one test, torn down whatever happens; the test itself asserts the
// server's clean exit through `finish`.
async function setUp(t, options = {}) {
  const server = await startServer(options);
  let browser;
  try {
    browser = await launchBrowser(options);
  } catch (e) {
    await server.stop();
    server.cleanup();
    throw e;
  }
  t.after(async () => {
    await browser.close();
    const result = await server.stop();
    if (result.code !== 0) t.diagnostic(server.output());
    server.cleanup();
  });
  return {
    server,
    browser,
    page: browser.page,
    async finish() {
      await browser.close();
      return server.stop();
    },
  };
}

module.exports = { startServer, launchBrowser, api, waitFor, artifact, setUp };
