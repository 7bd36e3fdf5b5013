// The server against the browser: a page of another origin (a second HTTP server on another port)
// tries a no-cors fetch and a form POST at the API and the lifts do not move; with a token file,
// the dashboard asks for the token, signs in for a session cookie that the event stream uses too,
// and signs out.
'use strict';

const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const http = require('node:http');
const os = require('node:os');
const path = require('node:path');
const { setUp, waitFor, api } = require('./support');

// A hostile page on its own origin that posts to the station's server as soon as it loads.
function hostilePage(target) {
  const html = `<!doctype html><title>hostile</title><body>
<form id="f" method="POST" action="${target}/api/console/raise-lifts" enctype="text/plain">
<input name='{"a":"' value='"}'></form>
<script>
  (async () => {
    for (const type of ['text/plain', 'application/json']) {
      try {
        await fetch('${target}/api/console/raise-lifts', { method: 'POST', mode: 'no-cors', headers: { 'Content-Type': type }, body: '{}' });
      } catch (e) { /* nothing to read anyway */ }
    }
    document.title = 'fetched';
    document.getElementById('f').submit();
  })();
</script></body>`;
  const server = http.createServer((req, res) => {
    res.writeHead(200, { 'Content-Type': 'text/html' });
    res.end(html);
  });
  return new Promise((resolve) => server.listen(0, '127.0.0.1', () => resolve(server)));
}

test('a page of another origin cannot move the lifts', { timeout: 120000 }, async (t) => {
  const { server, page, finish } = await setUp(t);
  const lifts = async () => (await api(server.url, 'GET', '/api/sim')).data.lifts;
  assert.equal(await lifts(), 'down');
  const hostile = await hostilePage(server.url);
  t.after(() => hostile.close());

  const refused = [];
  page.on('response', (r) => { if (r.url().startsWith(server.url)) refused.push(r.status()); });
  await page.goto(`http://127.0.0.1:${hostile.address().port}/`);
  // Two fetches and the form: each answered 403 (the fetches' answers are opaque to the page).
  await waitFor(() => refused.length >= 3, { timeoutMs: 15000, message: 'the three requests' });
  assert.deepEqual(refused, [403, 403, 403]);
  assert.equal(await lifts(), 'down');

  // The same command from a client without an Origin (curl, kelo) does raise them.
  assert.equal((await api(server.url, 'POST', '/api/console/raise-lifts', {})).status, 200);
  await waitFor(async () => (await lifts()) !== 'down', { timeoutMs: 15000, message: 'the lifts rising' });
  assert.deepEqual(await finish(), { code: 0, signal: null }, server.output());
});

test('with a token file the dashboard signs in once, streams with its cookie and signs out', { timeout: 120000 }, async (t) => {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'tavkelo-tokens-'));
  t.after(() => fs.rmSync(dir, { recursive: true, force: true }));
  const tokens = path.join(dir, 'tokens');
  fs.writeFileSync(tokens, 'operator control browser-0123456789abcdef\n', { mode: 0o600 });
  const { server, page, browser, finish } = await setUp(t, { extraArgs: ['--token-file', tokens, '--require-token'] });

  await page.goto(`${server.url}/`);
  const signin = page.locator('#signin');
  await signin.waitFor({ state: 'visible', timeout: 15000 });
  assert.equal((await api(server.url, 'GET', '/api/readings')).status, 401);

  await page.fill('#token', 'not-the-token-at-all');
  await page.click('#signin button[type=submit]');
  await waitFor(async () => (await page.textContent('#signin-answer')) === 'the token is not valid for this server', { message: 'the refusal' });

  await page.fill('#token', 'browser-0123456789abcdef');
  await page.click('#signin button[type=submit]');
  await signin.waitFor({ state: 'hidden', timeout: 10000 });
  assert.equal(await page.textContent('#who'), 'operator (control)');
  const cookies = await browser.context.cookies();
  assert.equal(cookies.length, 1);
  assert.deepEqual([cookies[0].httpOnly, cookies[0].sameSite], [true, 'Strict']);
  await waitFor(async () => (await page.textContent('#feed-mode')).includes('stream'), { timeoutMs: 20000, message: 'the event stream' });
  await waitFor(async () => (await page.textContent('#link-state')) === 'connected', { timeoutMs: 15000, message: 'connected' });

  await page.click('#signout');
  await signin.waitFor({ state: 'visible', timeout: 10000 });
  assert.ok(await page.locator('#who').isHidden());
  assert.deepEqual(browser.errors.filter((e) => !e.includes('401')), []);
  assert.deepEqual(await finish(), { code: 0, signal: null }, server.output());
});
