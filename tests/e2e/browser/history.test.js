// The history page after a simulated coastdown: the run in the table, its speed trace drawn by
// Chart.js (served from Debian's libjs-chart.js) with the windows marked, its results; and the
// dashboard's schedule panel with the coastdown's state.
'use strict';

const test = require('node:test');
const assert = require('node:assert/strict');
const { setUp, waitFor, artifact, api } = require('./support');

test('a simulated coastdown is found on the history page with its plot and its results', { timeout: 300000 }, async (t) => {
  const { server, page, finish } = await setUp(t);
  const url = server.url;
  const vendor = await fetch(`${url}/vendor/chart.js/chart.min.js`);
  assert.equal(vendor.status, 200);
  assert.match(await vendor.text(), /Chart\.js v\d/);

  await page.goto(`${url}/`);
  await waitFor(async () => (await page.textContent('#link-state')) === 'connected', { timeoutMs: 15000, message: 'connected' });
  await waitFor(async () => (await page.locator('#schedule-rows tr').count()) === 4, { message: 'the schedule panel' });
  assert.equal(await page.getAttribute('#schedule-rows tr[data-kind="coastdown"]', 'data-state'), 'never_run');

  const started = await api(url, 'POST', '/api/console/start', { test: 3 });
  assert.equal(started.data.result, 0, JSON.stringify(started.data));
  const run = await waitFor(async () => {
    const r = await api(url, 'GET', '/api/history?kind=coastdown&status=completed');
    return r.data.runs.length ? r.data.runs[0] : null;
  }, { timeoutMs: 240000, intervalMs: 1000, message: 'the coastdown to complete' });

  await page.goto(`${url}/history.html`);
  const row = page.locator(`#runs tr[data-id="${run.id}"]`);
  await row.waitFor({ state: 'visible', timeout: 10000 });
  assert.equal(await row.getAttribute('data-kind'), 'coastdown');
  await row.click();
  await page.locator('#run').waitFor({ state: 'visible', timeout: 10000 });
  await waitFor(() => page.evaluate(() => !!window.Chart && !!Chart.getChart('speed-chart')), { message: 'the speed chart' });
  const drawn = await page.evaluate(() => {
    const c = Chart.getChart('speed-chart');
    return { points: c.data.datasets[0].data.length, sets: c.data.datasets.map((d) => d.label) };
  });
  assert.equal(drawn.points, run.samples);
  assert.ok(drawn.points > 100, `${drawn.points} samples`);
  assert.ok(drawn.sets.includes('high window top'), drawn.sets.join(', '));
  const actual = await page.textContent('#run-results dd[data-result="highActualSeconds"]');
  assert.ok(Math.abs(Number(actual) - run.results.highActualSeconds) < 1e-4, actual);
  // The windows' calculated and actual times, beside the tolerance band.
  await page.screenshot({ path: artifact('history.png'), fullPage: true });
  const windows = await waitFor(() => page.evaluate(() => {
    const c = window.Chart && Chart.getChart('window-chart');
    return c ? c.data.datasets.map((d) => d.data) : null;
  }), { message: 'the window chart' });
  assert.deepEqual(windows[1], [run.results.highActualSeconds, run.results.lowActualSeconds]);

  await page.goto(`${url}/`);
  await waitFor(async () => (await page.locator('#schedule-rows tr').count()) === 4, { message: 'the schedule panel' });
  assert.equal(await page.getAttribute('#schedule-rows tr[data-kind="coastdown"]', 'data-state'), run.passed ? 'ok' : 'never_run');
  assert.ok(await page.locator('#overdue').isHidden(), 'nothing is overdue on a fresh station');
  const result = await finish();
  assert.equal(result.code, 0);
});
