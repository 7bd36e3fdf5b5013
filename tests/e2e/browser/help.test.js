// The calibration form's Help and Abort buttons on the dashboard: Help puts the operator's-manual
// message in the notice area and changes nothing on the form; Abort ends the calibration.
'use strict';

const test = require('node:test');
const assert = require('node:assert/strict');
const { setUp, waitFor, artifact, api } = require('./support');

const HELP_TEXT = "Refer to your Operator's Manual";

test('Help shows its message in the notice area, Abort closes the form as aborted', { timeout: 120000 }, async (t) => {
  const { server, page, browser, finish } = await setUp(t);
  const url = server.url;
  await page.goto(`${url}/`);
  await waitFor(async () => (await page.textContent('#link-state')) === 'connected', { timeoutMs: 15000, message: 'connected' });
  assert.equal(await page.locator('#notices li').count(), 0);
  assert.ok(await page.locator('#notices-empty').isVisible());
  // Without a form there is no button to press.
  assert.equal((await api(url, 'POST', '/api/wizard/help', {})).status, 409);

  const created = await api(url, 'POST', '/automation/objects', { leaseSeconds: 300 });
  assert.equal(created.status, 201);
  const id = created.data.id;
  for (const [name, args] of [['Init', [true, 1, 9600, 'N']], ['Connect', []], ['SpanAnalogInput', [1]]]) {
    const r = await api(url, 'POST', `/automation/objects/${id}/methods/${name}`, { args });
    assert.equal(r.status, 200, `${name}: ${JSON.stringify(r.data)}`);
  }
  const dialog = page.locator('#wizard');
  await dialog.waitFor({ state: 'visible', timeout: 15000 });
  const line1 = page.locator('#wizard [data-control="lblInstLine1"]');
  await waitFor(async () => (await line1.textContent()) === '      *** CAUTION ***', { message: 'the lift caution' });

  // Help: the message box's text arrives in the notice area, word for word.
  await page.getByRole('button', { name: 'Help' }).click();
  const notices = page.locator('#notices li .notice-text');
  await waitFor(async () => (await notices.count()) === 1, { timeoutMs: 10000, message: 'the Help notice' });
  assert.equal(await notices.first().textContent(), HELP_TEXT);
  assert.ok(await page.locator('#notices-empty').isHidden());
  // ... and the form is as it was: same prompt, Continue still offered.
  assert.equal(await line1.textContent(), '      *** CAUTION ***');
  assert.ok(await page.locator('#wizard [data-control="cmdContinue"]').isVisible());
  await page.screenshot({ path: artifact('wizard-help.png') });

  // A second press is a second message, newest first, each shown once.
  await page.getByRole('button', { name: 'Help' }).click();
  await waitFor(async () => (await notices.count()) === 2, { timeoutMs: 10000, message: 'the second Help notice' });
  const sequences = await page.locator('#notices li').evaluateAll((els) => els.map((el) => Number(el.dataset.sequence)));
  assert.ok(sequences[0] > sequences[1], `newest first: ${sequences}`);
  const fromServer = (await api(url, 'GET', '/api/notices?since=0')).data.notices.filter((n) => n.text === HELP_TEXT);
  assert.equal(fromServer.length, 2);

  // Abort: the calibration closes its form and records the abort.
  await page.getByRole('button', { name: 'Abort' }).click();
  await dialog.waitFor({ state: 'hidden', timeout: 15000 });
  await waitFor(async () => (await page.textContent('#test-completion')) === '2 aborted', { timeoutMs: 10000, message: 'aborted' });
  assert.equal(await page.textContent('#test-calibration'), 'none');

  assert.equal((await api(url, 'DELETE', `/automation/objects/${id}`)).status, 200);
  assert.deepEqual(browser.errors, []);
  const exit = await finish();
  assert.deepEqual(exit, { code: 0, signal: null }, server.output());
});
