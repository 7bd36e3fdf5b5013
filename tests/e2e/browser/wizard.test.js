// The load-cell calibration from a client's call to the end, operated on the dashboard: a client
// starts it over the automation API, the form opens on the page, and the technician does what the
// instruction lines ask (on the simulator's operator surface) and clicks Continue each time it is
// offered, until "Calibration complete." and the form closes.
'use strict';

const test = require('node:test');
const assert = require('node:assert/strict');
const { setUp, waitFor, artifact, api } = require('./support');

const RED = 'rgb(255, 0, 0)';
const GREEN = 'rgb(0, 255, 0)';
const BLUE = 'rgb(0, 0, 255)';
const STEP_NAMES = ['Offset adjustment', 'Compensate calibration device', 'Rough calibration',
                    'Offset adjustment', 'Exact calibration', 'Offset adjustment'];

// The whole run takes about a minute of real time (lift travel, a 5 s pause, three offset
// settlings of more than 5 s each); the operator loop gives up well before the test's limit.
const OPERATOR_LIMIT_MS = 200000;

async function startLoadCellCalibration(url) {
  const created = await api(url, 'POST', '/automation/objects', { leaseSeconds: 900 });
  assert.equal(created.status, 201, JSON.stringify(created.data));
  const id = created.data.id;
  const call = async (name, args) => {
    const r = await api(url, 'POST', `/automation/objects/${id}/methods/${name}`, { args });
    assert.equal(r.status, 200, `${name}: ${JSON.stringify(r.data)}`);
    return r.data.result;
  };
  await call('Init', [true, 1, 9600, 'N']);
  assert.equal(await call('Connect', []), true);
  assert.equal(await call('SpanAnalogInput', [1]), 0, 'SpanAnalogInput(gQRTXAIIPAU1Torque) answers gQRTXErrNoError');
  return id;
}

function formOf(page) {
  const control = (name) => page.locator(`#wizard [data-control="${name}"]`);
  return {
    dialog: page.locator('#wizard'),
    control,
    text: (name) => control(name).textContent(),
    back: (name) => control(name).evaluate((el) => getComputedStyle(el).backgroundColor),
    lines: async () => {
      const out = [];
      for (let n = 1; n <= 9; n++) out.push(await control(`lblInstLine${n}`).textContent());
      return out;
    },
  };
}

test('the load-cell calibration runs to the end on the dashboard', { timeout: 300000 }, async (t) => {
  const { server, page, browser, finish } = await setUp(t);
  const url = server.url;
  await page.goto(`${url}/`);
  await waitFor(async () => (await page.textContent('#link-state')) === 'connected', { timeoutMs: 15000, message: 'connected' });
  assert.ok(await page.locator('#wizard').isHidden(), 'no form before the calibration');

  const id = await startLoadCellCalibration(url);
  const form = formOf(page);
  await form.dialog.waitFor({ state: 'visible', timeout: 15000 });

  // The form as its model says: caption, font face, step names, nominal value caption, buttons.
  assert.equal(await page.textContent('#wizard-caption'), 'Kelo Dynamometer Load Cell Calibration');
  assert.equal(await form.dialog.getAttribute('data-form'), 'frmLCCal');
  const font = await form.control('lblInstLine1').evaluate((el) => getComputedStyle(el).fontFamily);
  assert.match(font, /^"MS Sans Serif", sans-serif$/);
  for (let n = 1; n <= 6; n++) assert.equal(await form.text(`lblST${n}`), STEP_NAMES[n - 1]);
  assert.equal(await form.text('lblNV'), 'Rough/Exact calibration nominal value:');
  // The form opens with its design-time caption; the sequence writes the bare number a step later.
  await waitFor(async () => /^\d+\.\d$/.test(await form.text('lblNVVal')),
                { message: 'the nominal value to be a bare number at run time' });
  assert.equal(await form.text('cmdContinue'), 'Continue');
  assert.equal(await form.control('cmdContinue').locator('u').textContent(), 'C', 'the access key is underlined');
  assert.ok(await form.control('lblLeftWSVal').isHidden(), 'the weight-scale form\'s controls are not drawn');
  // Opened in front of the operator: it holds the focus.
  assert.ok(await page.evaluate(() => document.getElementById('wizard').contains(document.activeElement)));
  await waitFor(async () => (await form.text('lblInstLine1')) === '      *** CAUTION ***', { message: 'the lift caution' });
  assert.deepEqual(await form.lines(), ['      *** CAUTION ***', '  Dyne lift will be raised.', '', '', '', '', '',
                                        "Select 'Continue' when", ' ready.']);
  assert.equal(await page.textContent('#test-calibration'), 'load cell');
  assert.equal(await page.textContent('#test-completion'), '1 in progress');

  const sim = async (command) => {
    const r = await api(url, 'POST', '/api/sim', { command });
    assert.equal(r.status, 200);
    assert.equal(r.data.ok, true, `${command}: ${r.data.text}`);
  };

  // The technician: acts on each new prompt, then confirms it when Continue is offered.
  const prompts = [];
  let continues = 0;
  const deadline = Date.now() + OPERATOR_LIMIT_MS;
  for (;;) {
    assert.ok(Date.now() < deadline, `the calibration did not finish; prompts seen: ${JSON.stringify(prompts)}`);
    assert.ok(await form.dialog.isVisible(), 'the form stays open until the end');
    // One look at the form: the lines and Continue as they stand together (the page may move on
    // to the next prompt between two separate reads).
    const { line1, line2, continueHidden } = await form.dialog.evaluate((dialog) => {
      const c = (name) => dialog.querySelector(`[data-control="${name}"]`);
      return { line1: c('lblInstLine1').textContent, line2: c('lblInstLine2').textContent,
               continueHidden: c('cmdContinue').hidden };
    });
    const prompt = `${line1}|${line2}`;
    if (prompt !== prompts[prompts.length - 1]) {
      prompts.push(prompt);
      if (line1 === 'Connect calibration') {
        // Not ready without the device: no Continue, the live value red; step 1 is done.
        assert.ok(continueHidden);
        await waitFor(async () => (await form.back('lblLoadVal')) === RED, { message: 'the live value in red' });
        assert.equal(await form.back('lblSL1'), GREEN);
        assert.equal(await form.text('lblInstLine5'), 'DO NOT place weights.');
        await sim('device on');
        await waitFor(async () => (await form.back('lblLoadVal')) === BLUE, { timeoutMs: 15000, message: 'the live value in blue' });
      } else if (line1 === 'Place 3 calibration') {
        await sim('weights 3');
      } else if (line1 === 'Remove the calibration') {
        await sim('weights 0');
        if (line2 === ' weights and devices.') await sim('device off');
      } else if (line1 === 'Processing...') {
        assert.ok(continueHidden, 'no Continue while the form works');
      }
    }
    if (line1 === 'Calibration complete.') break;
    // Continue is pressed only when the look that read the prompt saw it offered: a press decided
    // on a later look could confirm a prompt the technician never read (and never acted on).
    const cont = form.control('cmdContinue');
    if (!continueHidden && await cont.isEnabled()) {
      await cont.click();
      continues++;
      // The press is taken: the form hides Continue while it works on the step, or has already
      // moved on to the next prompt.
      await waitFor(async () => !(await cont.isVisible()) ||
                                `${await form.text('lblInstLine1')}|${await form.text('lblInstLine2')}` !== prompt,
                    { timeoutMs: 15000, message: `the form to take Continue at "${line1}"` });
    }
    await new Promise((r) => setTimeout(r, 100));
  }

  // The closing prompt: every lamp green, Abort gone, only Continue left.
  assert.deepEqual(await form.lines(), ['Calibration complete.', '', 'Remove AC power from', 'the dyne then',
                                        'restore AC power to the', 'dyne before continuing.', '',
                                        "Select 'Continue' when", ' ready.']);
  for (let n = 1; n <= 6; n++) assert.equal(await form.back(`lblSL${n}`), GREEN, `lamp ${n}`);
  assert.ok(await form.control('cmdAbort').isHidden(), 'Abort is hidden at the end');
  assert.ok(await form.control('cmdHelp').isVisible());
  assert.ok(await form.control('cmdContinue').isVisible());
  await form.dialog.screenshot({ path: artifact('wizard-form-complete.png') });
  await page.screenshot({ path: artifact('wizard-complete.png') });

  const expected = ['      *** CAUTION ***|  Dyne lift will be raised.', 'Clear dyne of vehicle and| all calibration devices.',
                    'Connect calibration| devices including', 'Place 3 calibration| weights on the',
                    'Remove the calibration| weights from the', 'Place 3 calibration| weights on the',
                    'Remove the calibration| weights and devices.', 'Calibration complete.|'];
  assert.deepEqual(prompts.filter((p) => !p.startsWith('Processing...')), expected);
  assert.equal(continues, 7, 'one Continue per prompt before the last');

  // The last Continue closes the form, and the calibration is recorded as completed.
  await form.control('cmdContinue').click();
  await form.dialog.waitFor({ state: 'hidden', timeout: 15000 });
  await waitFor(async () => (await page.textContent('#test-completion')) === '3 completed', { timeoutMs: 10000, message: 'completed' });
  assert.equal(await page.textContent('#test-calibration'), 'none');
  const wizard = (await api(url, 'GET', '/api/wizard')).data;
  assert.equal(wizard.open, false);
  const sim1 = (await api(url, 'GET', '/api/sim')).data;
  assert.equal(sim1.loadCell.device, false);
  assert.equal(sim1.loadCell.weights, 0);

  assert.equal((await api(url, 'DELETE', `/automation/objects/${id}`)).status, 200);
  assert.deepEqual(browser.errors, []);
  const exit = await finish();
  assert.deepEqual(exit, { code: 0, signal: null }, server.output());
});
