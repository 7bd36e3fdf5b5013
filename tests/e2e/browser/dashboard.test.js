// The dashboard against a simulated dyne: live values from the stream, the simulator's operator
// surface, the fallback to polling and the "server unreachable" state.
'use strict';

const test = require('node:test');
const assert = require('node:assert/strict');
const { setUp, waitFor, artifact, api } = require('./support');

const number = (text) => Number.parseFloat(text);

async function waitConnected(page) {
  await waitFor(async () => (await page.textContent('#link-state')) === 'connected',
                { timeoutMs: 15000, message: 'the badge to say "connected"' });
  assert.equal(await page.getAttribute('#link-state', 'data-state'), 'connected');
}

test('shows the live dyne and the speed rises while the simulated vehicle drives', { timeout: 120000 }, async (t) => {
  const { server, page, browser, finish } = await setUp(t);
  await page.goto(`${server.url}/`);
  await waitConnected(page);
  assert.equal(await page.textContent('#feed-mode'), 'live stream');
  assert.ok(await page.locator('#unreachable').isHidden());

  // Every status bit by name, the flags and counters from the snapshot.
  await waitFor(async () => (await page.locator('#status-bits li').count()) === 16, { message: '16 status bits' });
  const names = await page.locator('#status-bits .bit-name').allTextContents();
  assert.equal(names[0], 'Lifts up');
  assert.equal(names[1], 'Lifts down');
  assert.equal(names[8], 'Motor fault');
  assert.equal(names[15], 'Motor on');
  assert.equal(await page.getAttribute('#status-bits li[data-bit="1"]', 'data-on'), 'true', 'the lifts start down');
  await waitFor(async () => number(await page.textContent('[data-counter="statusReplies"]')) > 0,
                { message: 'status replies to be counted' });
  assert.equal(await page.textContent('#test-current'), 'No Test');
  assert.equal(await page.textContent('#test-completion'), '0 not run');
  assert.match(await page.textContent('#server-info'), /^TavKeloASM \d/);

  // The simulator panel is there because the server simulates.
  await page.locator('#sim-panel').waitFor({ state: 'visible', timeout: 5000 });
  const start = number(await page.textContent('#speed'));
  assert.ok(start < 1, `the rolls start at rest, not at ${start} mph`);

  // A driver holds 30 mph: the displayed speed climbs through the twenties.
  await page.fill('#sim-drive-speed', '30');
  await page.click('#sim-drive');
  await waitFor(async () => /\S/.test(await page.textContent('#sim-answer')) &&
                              !(await page.textContent('#sim-answer')).endsWith('drive speed 30'),
                { message: 'the simulator to answer' });
  assert.equal(await page.getAttribute('#sim-answer', 'data-ok'), 'true', await page.textContent('#sim-answer'));
  const seen = [];
  await waitFor(async () => {
    const v = number(await page.textContent('#speed'));
    if (seen[seen.length - 1] !== v) seen.push(v);
    return v > 20;
  }, { timeoutMs: 45000, intervalMs: 150, message: 'the displayed speed to pass 20 mph' });
  const rising = seen.filter((v, k) => k > 0 && v > seen[k - 1]).length;
  assert.ok(rising >= 3, `the speed rose step by step as the stream delivered it: ${seen.join(', ')}`);
  assert.ok(number(await page.textContent('#distance')) > 0, 'the distance counts');
  const state = (await api(server.url, 'GET', '/api/sim')).data;
  assert.ok(state.speedMph > 20, 'the page shows what the simulator does');

  await page.screenshot({ path: artifact('dashboard.png'), fullPage: true });

  // Foot off the pedal: the rolls slow down again.
  const peak = number(await page.textContent('#speed'));
  await page.click('button[data-sim-command="drive off"]');
  await waitFor(async () => number(await page.textContent('#speed')) < peak - 1,
                { timeoutMs: 30000, intervalMs: 200, message: 'the speed to fall after "drive off"' });

  assert.deepEqual(browser.errors, []);
  const exit = await finish();
  assert.deepEqual(exit, { code: 0, signal: null }, server.output());
});

test('polls when the stream is refused, and says so when the server is gone (narrow window)', { timeout: 120000 }, async (t) => {
  const { server, page, browser } = await setUp(t, { width: 400, height: 860 });
  // The stream never gets through: the page must fall back to /api/readings.
  await page.route('**/api/readings/stream', (route) => route.abort());
  await page.goto(`${server.url}/`);
  await waitConnected(page);
  await waitFor(async () => (await page.textContent('#feed-mode')) === 'polling', { message: 'the polling mode' });
  const replies = number(await page.textContent('[data-counter="statusReplies"]'));
  await waitFor(async () => number(await page.textContent('[data-counter="statusReplies"]')) > replies,
                { timeoutMs: 10000, message: 'polled values to keep coming' });

  // Nothing spills sideways on a narrow window.
  const overflow = await page.evaluate(() => document.scrollingElement.scrollWidth - window.innerWidth);
  assert.ok(overflow <= 0, `the page is ${overflow}px wider than the window`);
  await page.screenshot({ path: artifact('dashboard-narrow.png'), fullPage: true });

  // The server stops under the page: it says so, keeps the last values and offers no commands.
  const speed = await page.textContent('#speed');
  const exit = await server.stop();
  assert.deepEqual(exit, { code: 0, signal: null }, server.output());
  await waitFor(async () => (await page.textContent('#link-state')) === 'server unreachable',
                { timeoutMs: 15000, message: 'the badge to say "server unreachable"' });
  assert.equal(await page.getAttribute('#link-state', 'data-state'), 'unreachable');
  assert.ok(await page.locator('#unreachable').isVisible(), 'the banner shows');
  assert.ok(await page.locator('#test-start').isDisabled(), 'no commands while the server is gone');
  assert.equal(await page.textContent('#speed'), speed);
  await page.screenshot({ path: artifact('dashboard-unreachable.png') });
  assert.deepEqual(browser.errors, []);
});

test('the console connects, disconnects, starts a warm-up whose motor turns the rolls, and stops it', { timeout: 120000 }, async (t) => {
  const { server, page, browser, finish } = await setUp(t);
  await page.goto(`${server.url}/`);
  await waitConnected(page);

  await page.click('#console-disconnect');
  await waitFor(async () => (await page.textContent('#link-state')) === 'disconnected',
                { timeoutMs: 15000, message: 'the badge to say "disconnected"' });
  assert.equal(await page.textContent('#console-result'), 'Disconnect: disconnected');
  await page.click('#console-connect');
  await waitConnected(page);
  assert.equal(await page.textContent('#console-result'), 'Connect to port 1: connected');

  await page.selectOption('#test-select', { label: 'Warm-Up' });
  await page.click('#test-start');
  await waitFor(async () => (await page.textContent('#console-result')) === 'Start Warm-Up: No Error',
                { timeoutMs: 15000, message: 'the start to be answered' });
  await waitFor(async () => (await page.textContent('#test-current')) === 'Warm-Up', { message: 'the warm-up to run' });
  assert.equal(await page.textContent('#test-completion'), '1 in progress');
  assert.equal(await page.getAttribute('#test-completion', 'data-status'), '1');
  // The warm-up's motor spins the rolls: the "Motor on" lamp lights and the speed climbs.
  await waitFor(async () => (await page.getAttribute('#status-bits li[data-bit="15"]', 'data-on')) === 'true',
                { timeoutMs: 15000, message: 'the "Motor on" lamp' });
  await waitFor(async () => number(await page.textContent('#speed')) > 10,
                { timeoutMs: 30000, intervalMs: 200, message: 'the speed to rise while the motor runs' });

  await page.click('#test-stop');
  await waitFor(async () => (await page.textContent('#console-result')) === 'Stop test: No Error',
                { timeoutMs: 15000, message: 'the stop to be answered' });
  await waitFor(async () => (await page.textContent('#test-completion')) === '2 aborted',
                { timeoutMs: 60000, intervalMs: 250, message: 'the warm-up to end as aborted' });
  assert.equal(await page.textContent('#test-current'), 'No Test');
  assert.equal(await page.textContent('#test-started'), 'Warm-Up');

  assert.deepEqual(browser.errors, []);
  const exit = await finish();
  assert.deepEqual(exit, { code: 0, signal: null }, server.output());
});
