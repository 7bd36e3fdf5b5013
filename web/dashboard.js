// TavKelo dashboard: live readings from the server-sent-event stream (polling when the stream
// is down), the console's buttons, the notice area, the simulator's operator surface and the
// open calibration form. Plain browser JavaScript, no libraries.
'use strict';

(() => {
  const POLL_MS = 1000;            // readings polling while the stream is down
  const STREAM_RETRY_MS = 5000;    // how soon polling tries the stream again
  const STREAM_STALL_MS = 4000;    // the server publishes at least once a second
  const UNREACHABLE_MS = 4000;     // no answer for this long: the server cannot be reached
  const NOTICE_POLL_MS = 2000;
  const SIM_POLL_MS = 1500;
  const REQUEST_TIMEOUT_MS = 8000;
  const COMMAND_TIMEOUT_MS = 60000;
  const CONTINUE_LATCH_MS = 3000;  // Continue stays off this long after a press, or until it hides

  const TEST_NAMES = ['No Test', 'Warm-Up', 'Parasitics', 'Coastdown', 'Constant Target', 'ASM', 'Vehicle Simulation'];
  const COMPLETION_NAMES = ['not run', 'in progress', 'aborted', 'completed'];
  const CALIBRATION_NAMES = ['none', 'load cell', 'weight scales'];

  const $ = (id) => document.getElementById(id);

  const state = {
    snapshot: null,
    lastContactMs: 0,        // the last answer of any kind from the server (performance.now)
    everReached: false,
    reachable: null,
    source: null,            // the EventSource while the stream is in use
    mode: 'starting',        // 'stream' | 'polling'
    lastStreamEventMs: 0,
    pollTimer: 0,
    pollBusy: false,
    unreachable: false,
    streamRetryAt: 0,
    noticeSeq: 0,
    noticeFetching: false,
    simulated: false,
    simFetching: false,
    serverInfoFresh: false,
  };

  // ---------------------------------------------------------------- HTTP

  class HttpError extends Error {
    constructor(status, message, body) {
      super(message);
      this.status = status;
      this.body = body;
    }
  }

  async function request(method, path, body, timeoutMs = REQUEST_TIMEOUT_MS) {
    const controller = new AbortController();
    const timer = setTimeout(() => controller.abort(), timeoutMs);
    let res;
    try {
      const init = { method, signal: controller.signal, cache: 'no-store', headers: {} };
      if (body !== undefined) {
        init.headers['Content-Type'] = 'application/json';
        init.body = JSON.stringify(body);
      }
      res = await fetch(path, init);
    } catch (e) {
      throw new HttpError(0, controller.signal.aborted ? 'no answer from the server' : 'the server cannot be reached');
    } finally {
      clearTimeout(timer);
    }
    contact();
    let data = null;
    const text = await res.text();
    if (text) {
      try { data = JSON.parse(text); } catch (e) { data = { text }; }
    }
    if (res.status === 401 && path !== '/api/session') showSignIn();
    if (!res.ok) {
      const message = data && data.error ? data.error : `HTTP ${res.status}`;
      throw new HttpError(res.status, message, data);
    }
    return data;
  }

  const getJson = (path) => request('GET', path);
  const postJson = (path, body = {}, timeoutMs = COMMAND_TIMEOUT_MS) => request('POST', path, body, timeoutMs);

  // ---------------------------------------------------------------- formatting

  function fixed(value, digits) {
    if (typeof value !== 'number' || !Number.isFinite(value)) return '–';
    const text = value.toFixed(digits);
    // "-0.0" reads as a fault on a dashboard
    return /^-0(\.0*)?$/.test(text) ? text.slice(1) : text;
  }

  function setText(el, text) {
    if (el && el.textContent !== text) el.textContent = text;
  }

  function seconds(value) {
    if (typeof value !== 'number' || !Number.isFinite(value)) return '–';
    if (value < 0) return '0.0 s';
    if (value < 60) return `${value.toFixed(1)} s`;
    if (value < 3600) return `${Math.floor(value / 60)} min ${Math.floor(value % 60)} s`;
    return `${(value / 3600).toFixed(1)} h`;
  }

  // ---------------------------------------------------------------- reachability

  function contact() {
    state.lastContactMs = performance.now();
    state.everReached = true;
    updateReachability();
  }

  function updateReachability() {
    const now = performance.now();
    const reachable = state.everReached && now - state.lastContactMs < UNREACHABLE_MS;
    // Before the first answer the page says "connecting" for a moment, then "unreachable".
    const unreachable = !reachable && (state.everReached || now >= UNREACHABLE_MS);
    $('unreachable').hidden = !unreachable;
    if (reachable !== state.reachable) {
      state.reachable = reachable;
      document.body.dataset.reachable = String(reachable);
      for (const el of document.querySelectorAll('[data-needs-server]')) el.disabled = !reachable;
      if (reachable && !state.serverInfoFresh) loadServerInfo();
      if (!reachable) state.serverInfoFresh = false;
    }
    state.unreachable = unreachable;
    renderLinkState();
  }

  function renderLinkState() {
    const badge = $('link-state');
    let s;
    let text;
    if (!state.reachable) {
      s = state.unreachable ? 'unreachable' : 'connecting';
      text = state.unreachable ? 'server unreachable' : 'connecting';
    } else if (state.snapshot && state.snapshot.link && state.snapshot.link.reconnecting) {
      // "link lost, reconnecting (attempt N, next in S s)", as the server words it.
      s = 'reconnecting';
      text = state.snapshot.link.text;
    } else if (state.snapshot && state.snapshot.connected) {
      s = 'connected';
      text = 'connected';
    } else {
      s = 'disconnected';
      text = 'disconnected';
    }
    if (badge.dataset.state !== s) badge.dataset.state = s;
    setText(badge, text);
    const mode = state.mode === 'stream' ? 'live stream' : state.mode === 'polling' ? 'polling' : '';
    setText($('feed-mode'), state.reachable ? mode : '');
    document.body.dataset.feed = state.mode;
  }

  // ---------------------------------------------------------------- readings feed

  function startStream() {
    if (typeof EventSource === 'undefined') {
      startPolling();
      return;
    }
    stopStream();
    const source = new EventSource('/api/readings/stream');
    state.source = source;
    state.lastStreamEventMs = performance.now();
    source.onmessage = (event) => {
      if (state.source !== source) return;
      state.lastStreamEventMs = performance.now();
      let snapshot;
      try { snapshot = JSON.parse(event.data); } catch (e) { return; }
      if (state.mode !== 'stream') {
        state.mode = 'stream';
        stopPolling();
      }
      contact();
      onSnapshot(snapshot);
    };
    source.onerror = () => {
      if (state.source !== source) return;
      // The browser would retry by itself; polling keeps the values coming meanwhile.
      stopStream();
      startPolling();
    };
  }

  function stopStream() {
    if (state.source) {
      state.source.onmessage = null;
      state.source.onerror = null;
      state.source.close();
      state.source = null;
    }
  }

  function startPolling() {
    state.mode = 'polling';
    state.streamRetryAt = performance.now() + STREAM_RETRY_MS;
    renderLinkState();
    if (!state.pollTimer && !state.pollBusy) pollOnce();
  }

  function stopPolling() {
    clearTimeout(state.pollTimer);
    state.pollTimer = 0;
  }

  async function pollOnce() {
    state.pollTimer = 0;
    if (state.mode !== 'polling' || state.pollBusy) return;
    state.pollBusy = true;
    try {
      const snapshot = await getJson('/api/readings');
      if (state.mode !== 'polling') return;
      onSnapshot(snapshot);
      if (performance.now() >= state.streamRetryAt && !state.source) {
        // Try the stream again; polling goes on until its first event arrives.
        state.streamRetryAt = performance.now() + STREAM_RETRY_MS;
        startStream();
        state.mode = 'polling';
      }
    } catch (e) {
      updateReachability();
    } finally {
      state.pollBusy = false;
    }
    if (state.mode === 'polling' && !state.pollTimer) state.pollTimer = setTimeout(pollOnce, POLL_MS);
  }

  function watchStream() {
    // A stream that has gone quiet (a proxy holding it, a stalled connection) counts as dropped.
    if (state.mode === 'stream' && state.source && performance.now() - state.lastStreamEventMs > STREAM_STALL_MS) {
      stopStream();
      startPolling();
    }
  }

  // ---------------------------------------------------------------- rendering the snapshot

  const statusBitEls = [];

  function renderStatusBits(bits) {
    const list = $('status-bits');
    if (statusBitEls.length !== bits.length) {
      list.textContent = '';
      statusBitEls.length = 0;
      for (const bit of bits) {
        const li = document.createElement('li');
        li.dataset.bit = String(bit.bit);
        const lamp = document.createElement('span');
        lamp.className = 'bit-lamp';
        lamp.setAttribute('aria-hidden', 'true');
        const name = document.createElement('span');
        name.className = 'bit-name';
        const value = document.createElement('span');
        value.className = 'visually-hidden bit-value';
        li.append(lamp, name, value);
        list.append(li);
        statusBitEls.push(li);
      }
    }
    bits.forEach((bit, k) => {
      const li = statusBitEls[k];
      const on = Boolean(bit.on);
      if (li.dataset.on !== String(on)) li.dataset.on = String(on);
      li.dataset.name = bit.name;
      setText(li.querySelector('.bit-name'), bit.name);
      setText(li.querySelector('.bit-value'), on ? ': on' : ': off');
      li.title = `Bit ${bit.bit}: ${bit.name} (${on ? 'on' : 'off'})`;
    });
  }

  function onSnapshot(s) {
    if (!s || typeof s !== 'object') return;
    state.snapshot = s;

    setText($('speed'), fixed(s.speedMph, 1));
    setText($('acceleration'), fixed(s.accelerationMphPerS, 2));
    setText($('torque'), fixed(s.torqueFtLb, 1));
    setText($('power'), fixed(s.powerHp, 2));
    setText($('parasitics'), fixed(s.parasiticsTorqueFtLb, 1));
    setText($('distance'), fixed(s.distanceMiles, 3));
    setText($('weight-left'), fixed(s.leftWeightLb, 0));
    setText($('weight-right'), fixed(s.rightWeightLb, 0));
    setText($('weight-total'), fixed(s.totalWeightLb, 0));
    setText($('temp-frame'), fixed(s.frameTempF, 1));
    setText($('temp-bearing'), fixed(s.bearingTempF, 1));
    setText($('regulator'), s.regulatorOn ? 'on' : 'off');
    setText($('lifts'), s.liftsUp ? 'up' : 'down');
    const speed = typeof s.speedMph === 'number' ? Math.max(0, Math.min(1, Math.abs(s.speedMph) / 80)) : 0;
    $('speed-bar').style.transform = `scaleX(${speed})`;

    Trend.add(s.speedMph);
    if (Array.isArray(s.status)) renderStatusBits(s.status);

    const counters = s.counters || {};
    for (const dd of document.querySelectorAll('[data-counter]')) {
      const value = counters[dd.dataset.counter];
      setText(dd, typeof value === 'number' ? String(value) : '–');
      dd.classList.toggle('nonzero', Boolean(typeof value === 'number' && value > 0 && dd.dataset.counter !== 'statusReplies'));
    }
    setText($('since-update'), seconds(s.timeSinceLastUpdateS));
    $('since-update').classList.toggle('stale', Boolean(s.connected && s.timeSinceLastUpdateS > 2));
    setText($('auto-update'), s.autoUpdate ? 'updating' : 'not updating');
    setText($('firmware'), typeof s.firmwareVersion === 'number' && s.firmwareVersion ? String(s.firmwareVersion) : '–');
    setText($('roll-diameter'), s.rollDiameterIn ? `${fixed(s.rollDiameterIn, 3)} in` : '–');
    setText($('base-inertia'), s.baseInertiaLb ? `${fixed(s.baseInertiaLb, 0)} lb` : '–');

    const t = s.test || {};
    setText($('test-current'), t.name || TEST_NAMES[t.current] || '–');
    setText($('test-started'), t.startedName || TEST_NAMES[t.started] || '–');
    const completion = $('test-completion');
    const status = typeof t.completion === 'number' ? t.completion : -1;
    setText(completion, COMPLETION_NAMES[status] !== undefined ? `${status} ${COMPLETION_NAMES[status]}` : '–');
    completion.dataset.status = String(status);
    setText($('test-stage'), typeof t.stage === 'number' ? String(t.stage) : '–');
    setText($('test-calibration'), CALIBRATION_NAMES[t.calibration] || (t.calibration ? String(t.calibration) : '–'));

    if (typeof s.notices === 'number' && s.notices > state.noticeSeq) loadNotices();

    const simulated = Boolean(s.simulated);
    if (simulated !== state.simulated) {
      state.simulated = simulated;
      $('sim-panel').hidden = !simulated;
      if (simulated) loadSimState();
    }

    if (s.wizard) Wizard.hint(s.wizard);
    renderLinkState();
  }

  // ---------------------------------------------------------------- speed trend

  const Trend = (() => {
    const WINDOW_MS = 60000;
    const canvas = $('trend');
    const samples = [];
    let drawPending = false;

    function add(speed) {
      if (typeof speed !== 'number' || !Number.isFinite(speed)) return;
      const now = performance.now();
      const last = samples[samples.length - 1];
      if (last && now - last.t < 200) return;
      samples.push({ t: now, v: speed });
      while (samples.length && now - samples[0].t > WINDOW_MS) samples.shift();
      if (!drawPending) {
        drawPending = true;
        requestAnimationFrame(draw);
      }
    }

    function draw() {
      drawPending = false;
      const ratio = window.devicePixelRatio || 1;
      const width = canvas.clientWidth;
      const height = canvas.clientHeight;
      if (!width || !height) return;
      if (canvas.width !== Math.round(width * ratio) || canvas.height !== Math.round(height * ratio)) {
        canvas.width = Math.round(width * ratio);
        canvas.height = Math.round(height * ratio);
      }
      const g = canvas.getContext('2d');
      g.setTransform(ratio, 0, 0, ratio, 0, 0);
      g.clearRect(0, 0, width, height);
      const peak = samples.reduce((m, s) => Math.max(m, Math.abs(s.v)), 0);
      const top = Math.max(10, Math.ceil(peak / 10) * 10);
      setText($('trend-max'), `scale 0–${top} mph`);
      const pad = 4;
      const y = (v) => pad + (height - 2 * pad) * (1 - Math.max(0, v) / top);
      g.strokeStyle = '#e3e8ef';
      g.lineWidth = 1;
      for (let k = 0; k <= 4; k++) {
        const yy = Math.round(pad + (height - 2 * pad) * k / 4) + 0.5;
        g.beginPath();
        g.moveTo(0, yy);
        g.lineTo(width, yy);
        g.stroke();
      }
      if (samples.length < 2) return;
      const now = samples[samples.length - 1].t;
      const x = (t) => width - (now - t) / WINDOW_MS * width;
      g.beginPath();
      samples.forEach((s, k) => (k ? g.lineTo(x(s.t), y(s.v)) : g.moveTo(x(s.t), y(s.v))));
      g.strokeStyle = '#1f6feb';
      g.lineWidth = 2;
      g.lineJoin = 'round';
      g.stroke();
      g.lineTo(x(now), height - pad);
      g.lineTo(x(samples[0].t), height - pad);
      g.closePath();
      g.fillStyle = 'rgba(31, 111, 235, 0.08)';
      g.fill();
    }

    window.addEventListener('resize', () => requestAnimationFrame(draw));
    return { add };
  })();

  // ---------------------------------------------------------------- server info

  async function loadServerInfo() {
    try {
      const info = await getJson('/api/server');
      state.serverInfoFresh = true;
      const ports = info.ports ? Object.entries(info.ports).slice(0, 2).map(([p, d]) => `port ${p}: ${d}`) : [];
      setText($('server-info'), [`${info.program} ${info.version}`, ...ports].join(' · '));
    } catch (e) {
      state.serverInfoFresh = false;
    }
  }

  // ---------------------------------------------------------------- session

  // A server that wants a token gets it once here; the session cookie it answers with (HttpOnly,
  // so no script sees it) then goes with every request, the event stream's too.
  function showSignIn() {
    $('signin').hidden = false;
  }

  async function loadSession() {
    try {
      const s = await getJson('/api/session');
      $('insecure').hidden = !s.insecure;
      $('signin').hidden = !(s.tokenWanted && !s.signedIn);
      $('who').hidden = !s.signedIn;
      $('signout').hidden = !s.signedIn;
      setText($('who'), s.signedIn ? `${s.name} (${s.role})` : '');
    } catch (e) {
      // Unreachable: the reachability banner says so.
    }
  }

  function wireSession() {
    $('signin').addEventListener('submit', async (event) => {
      event.preventDefault();
      try {
        await request('POST', '/api/session', { token: $('token').value });
        $('token').value = '';
        setText($('signin-answer'), '');
        await loadSession();
        loadServerInfo();
        startStream();
      } catch (e) {
        setText($('signin-answer'), e.message);
      }
    });
    $('signout').addEventListener('click', async () => {
      try { await request('DELETE', '/api/session', {}); } catch (e) { /* shown below */ }
      stopStream();
      await loadSession();
      startPolling();
    });
  }

  // ---------------------------------------------------------------- console

  function showAnswer(el, text, ok) {
    setText(el, text);
    el.dataset.ok = String(ok);
  }

  async function consoleAction(action, label, body = {}) {
    const out = $('console-result');
    showAnswer(out, `${label}…`, true);
    try {
      const answer = await postJson(`/api/console/${action}`, body);
      let text;
      if ('text' in answer) text = `${label}: ${answer.text}`;
      else if (action === 'disconnect') text = `${label}: disconnected`;
      else if ('connected' in answer) text = `${label}: ${answer.connected ? 'connected' : 'could not connect'}`;
      else text = `${label}: done`;
      const ok = !('result' in answer) ? answer.connected !== false || action === 'disconnect' : answer.result === 0;
      showAnswer(out, text, ok);
    } catch (e) {
      showAnswer(out, `${label}: ${e.message}`, false);
    }
  }

  function wireConsole() {
    $('test-form').addEventListener('submit', (ev) => {
      ev.preventDefault();
      const select = $('test-select');
      const test = Number(select.value);
      consoleAction('start', `Start ${select.options[select.selectedIndex].text}`, { test });
    });
    $('test-stop').addEventListener('click', () => consoleAction('stop', 'Stop test'));
    $('console-form').addEventListener('submit', (ev) => {
      ev.preventDefault();
      const port = Math.trunc(Number($('console-port').value)) || 1;
      consoleAction('connect', `Connect to port ${port}`, { port });
    });
    $('console-disconnect').addEventListener('click', () => consoleAction('disconnect', 'Disconnect'));
    $('lifts-raise').addEventListener('click', () => consoleAction('raise-lifts', 'Raise lifts'));
    $('lifts-lower').addEventListener('click', () => consoleAction('lower-lifts', 'Lower lifts'));
  }

  // ---------------------------------------------------------------- notices

  async function loadNotices() {
    if (state.noticeFetching) return;
    state.noticeFetching = true;
    try {
      const answer = await getJson(`/api/notices?since=${state.noticeSeq}`);
      const list = $('notices');
      for (const n of answer.notices || []) {
        if (n.sequence <= state.noticeSeq) continue;
        state.noticeSeq = n.sequence;
        const li = document.createElement('li');
        li.dataset.sequence = String(n.sequence);
        li.dataset.style = String(n.style || 0);
        // 16 is the critical icon, 48 the exclamation mark
        const kind = (n.style & 0x70) === 16 ? 'critical' : (n.style & 0x70) === 48 ? 'warning' : 'info';
        li.className = `notice notice-${kind}`;
        const time = document.createElement('time');
        const now = new Date();
        time.dateTime = now.toISOString();
        time.textContent = now.toLocaleTimeString();
        const text = document.createElement('span');
        text.className = 'notice-text';
        text.textContent = n.text;
        li.append(time, text);
        list.prepend(li);
        while (list.children.length > 50) list.lastElementChild.remove();
      }
      $('notices-empty').hidden = list.children.length > 0;
    } catch (e) {
      // the next poll tries again
    } finally {
      state.noticeFetching = false;
    }
  }

  function wireNotices() {
    $('notices-clear').addEventListener('click', () => {
      $('notices').textContent = '';
      $('notices-empty').hidden = false;
    });
  }

  // ---------------------------------------------------------------- simulator

  async function simCommand(command) {
    const out = $('sim-answer');
    showAnswer(out, `> ${command}`, true);
    try {
      const answer = await postJson('/api/sim', { command });
      showAnswer(out, `> ${command}\n${answer.text || (answer.ok ? 'done' : 'refused')}`, Boolean(answer.ok));
    } catch (e) {
      showAnswer(out, `> ${command}\n${e.message}`, false);
    }
    loadSimState();
  }

  async function loadSimState() {
    if (!state.simulated || state.simFetching) return;
    state.simFetching = true;
    try {
      const s = await getJson('/api/sim');
      const lc = s.loadCell || {};
      const faults = s.faults && s.faults.length ? s.faults.join(', ') : 'none';
      const parts = [
        `mode ${s.mode}`,
        `lifts ${s.lifts}`,
        `cal. device ${lc.device ? `on, ${lc.weights} weight(s)` : 'off'}`,
        `faults: ${faults}`,
      ];
      setText($('sim-state'), parts.join(' · '));
    } catch (e) {
      setText($('sim-state'), '');
    } finally {
      state.simFetching = false;
    }
  }

  function wireSimulator() {
    for (const button of document.querySelectorAll('[data-sim-command]')) {
      button.addEventListener('click', () => simCommand(button.dataset.simCommand));
    }
    const submit = (id, build) => $(id).addEventListener('submit', (ev) => {
      ev.preventDefault();
      const command = build();
      if (command) simCommand(command);
    });
    submit('sim-drive-form', () => {
      const mph = Number($('sim-drive-speed').value);
      return Number.isFinite(mph) ? `drive speed ${mph}` : null;
    });
    submit('sim-weights-form', () => `weights ${$('sim-weights').value}`);
    const side = () => $('sim-scale-side').value;
    $('sim-scale-device-on').addEventListener('click', () => simCommand(`scale ${side()} device on`));
    $('sim-scale-device-off').addEventListener('click', () => simCommand(`scale ${side()} device off`));
    submit('sim-scale-weights-form', () => `scale ${side()} weights ${$('sim-scale-weights').value}`);
    submit('sim-scale-load-form', () => {
      const lb = Number($('sim-scale-load').value);
      return Number.isFinite(lb) ? `scale ${side()} ${lb}` : null;
    });
    submit('sim-fault-form', () => `fault ${$('sim-fault').value}`);
    $('sim-fault-clear').addEventListener('click', () => simCommand(`clear ${$('sim-fault').value}`));
    submit('sim-command-form', () => {
      const command = $('sim-command').value.trim();
      if (command) $('sim-command').select();
      return command || null;
    });
  }

  // ---------------------------------------------------------------- calibration form

  const Wizard = (() => {
    const dialog = $('wizard');
    const extra = $('wizard-extra');
    const w = {
      revision: -1,
      formName: '',
      open: false,
      fetching: false,
      again: false,
      pressing: false,
      continueLatchUntil: 0,
      lines: '',
      linesAtPress: '',
    };

    // "&Continue": the letter after "&" is the access key; "&&" is an ampersand.
    function captionParts(caption) {
      let before = '';
      let key = '';
      let after = '';
      for (let i = 0; i < caption.length; i++) {
        const c = caption[i];
        if (c === '&' && i + 1 < caption.length) {
          const next = caption[i + 1];
          i++;
          if (next === '&') {
            (key ? (after += '&') : (before += '&'));
          } else if (!key) {
            key = next;
          } else {
            after += next;
          }
        } else if (key) {
          after += c;
        } else {
          before += c;
        }
      }
      return { before, key, after, plain: before + key + after };
    }

    function renderCaption(el, caption) {
      if (el.tagName === 'BUTTON') {
        const p = captionParts(caption);
        if (el.dataset.caption === caption) return;
        el.dataset.caption = caption;
        el.textContent = '';
        el.append(p.before);
        if (p.key) {
          const u = document.createElement('u');
          u.textContent = p.key;
          el.append(u);
          el.accessKey = p.key.toLowerCase();
        } else {
          el.removeAttribute('accesskey');
        }
        el.append(p.after);
        return;
      }
      setText(el, caption);
    }

    function fontFamily(name) {
      return name ? `"${name.replace(/["\\]/g, '')}", sans-serif` : '';
    }

    function lampMeaning(color) {
      if (color === 255) return 'running';
      if (color === 65280) return 'done';
      return 'not started';
    }

    function valueMeaning(color) {
      if (color === 255) return 'outside the range asked for';
      if (color === 16711680) return 'inside the range asked for';
      return '';
    }

    function slotFor(control) {
      let el = dialog.querySelector(`[data-control="${CSS.escape(control.name)}"]`);
      if (el) return el;
      // A control this page has no place for still shows, in the extra area.
      el = document.createElement(control.kind === 'button' ? 'button' : 'span');
      el.dataset.control = control.name;
      el.dataset.extra = 'true';
      if (control.kind === 'button') {
        el.type = 'button';
        el.className = 'wiz-button';
        el.addEventListener('click', () => press(control.name));
      } else {
        el.className = 'wiz-extra-label';
      }
      extra.append(el);
      return el;
    }

    function render(form) {
      dialog.dataset.form = form.name;
      setText($('wizard-caption'), form.caption);
      dialog.style.fontFamily = fontFamily(form.fontName);
      const present = new Set();
      for (const c of form.controls) {
        const el = slotFor(c);
        present.add(el);
        renderCaption(el, c.caption);
        el.hidden = !c.visible;
        el.dataset.visible = String(Boolean(c.visible));
        el.style.color = c.foreCss;
        el.style.backgroundColor = c.backCss;
        el.style.fontFamily = fontFamily(c.fontName);
        el.dataset.foreColor = String(c.foreColor);
        el.dataset.backColor = String(c.backColor);
        if (el.classList.contains('wiz-lamp')) {
          const step = c.name.replace(/^lblSL/, '');
          el.setAttribute('aria-label', `Step ${step}: ${lampMeaning(c.backColor)}`);
          el.dataset.lamp = lampMeaning(c.backColor).replace(' ', '-');
        } else if (el.classList.contains('wiz-value')) {
          const meaning = valueMeaning(c.backColor);
          if (meaning) el.title = meaning; else el.removeAttribute('title');
        }
      }
      // Controls of the other form (or of no form) are not drawn.
      for (const el of dialog.querySelectorAll('[data-control]')) {
        if (present.has(el)) continue;
        if (el.dataset.extra) { el.remove(); continue; }
        el.hidden = true;
        el.dataset.visible = 'absent';
      }
      // Rows and blocks whose controls are all hidden take no room.
      for (const block of dialog.querySelectorAll('.wiz-live, .wiz-scales, .wiz-nominal')) {
        block.hidden = !block.querySelector('[data-control]:not([hidden])');
      }
      for (const li of dialog.querySelectorAll('.wiz-steps > li')) {
        li.hidden = !li.querySelector('[data-control]:not([hidden])');
      }
      extra.hidden = extra.children.length === 0;
    }

    function openDialog(isNewForm) {
      if (!dialog.open) {
        dialog.show();
        dialog.classList.add('wiz-arrived');
        setTimeout(() => dialog.classList.remove('wiz-arrived'), 900);
      }
      if (isNewForm) {
        dialog.style.left = '';
        dialog.style.top = '';
        dialog.style.transform = '';
        setText($('wizard-status'), '');
        // In front of the operator: the form takes the focus, as a window brought to the front would.
        const first = dialog.querySelector('.wiz-buttons button:not([hidden])');
        (first || dialog).focus({ preventScroll: true });
      }
      document.body.dataset.wizard = 'open';
    }

    function closeDialog() {
      if (dialog.open) dialog.close();
      dialog.dataset.form = '';
      document.body.dataset.wizard = 'closed';
      w.formName = '';
    }

    function linesKey(form) {
      return form.controls.filter((c) => /^lblInstLine\d$/.test(c.name)).map((c) => c.caption).join('\n');
    }

    function apply(answer) {
      w.revision = answer.revision;
      const form = answer.open ? answer.form : null;
      if (!form || !form.visible) {
        w.open = false;
        w.continueLatchUntil = 0;
        closeDialog();
        return;
      }
      const isNew = form.name !== w.formName || !dialog.open;
      w.open = true;
      w.formName = form.name;
      // The latch ends when Continue hides or the instructions change: the form took the press.
      const cont = form.controls.find((c) => c.name === 'cmdContinue');
      const lines = linesKey(form);
      if (!cont || !cont.visible || lines !== w.linesAtPress) w.continueLatchUntil = 0;
      w.lines = lines;
      render(form);
      setButtonsBusy(w.pressing);
      dialog.dataset.revision = String(answer.revision);
      openDialog(isNew);
    }

    async function refresh() {
      if (w.fetching) {
        w.again = true;
        return;
      }
      w.fetching = true;
      try {
        do {
          w.again = false;
          apply(await getJson('/api/wizard'));
        } while (w.again);
      } catch (e) {
        // the next snapshot asks again
        w.revision = -1;
      } finally {
        w.fetching = false;
      }
    }

    function hint(h) {
      if (Boolean(h.open) !== w.open || h.revision !== w.revision) refresh();
    }

    function setButtonsBusy(busy) {
      for (const b of dialog.querySelectorAll('.wiz-buttons button, .wiz-extra button')) b.disabled = busy;
      // After a Continue that was taken, the button stays off until the form has moved on (it
      // hides Continue while it works), so one click never confirms two prompts.
      const cont = dialog.querySelector('[data-control="cmdContinue"]');
      if (cont && performance.now() < w.continueLatchUntil) cont.disabled = true;
      dialog.dataset.busy = String(busy);
    }

    async function press(which) {
      if (w.pressing) return;
      w.pressing = true;
      const linesAtClick = w.lines;
      setButtonsBusy(true);
      const status = $('wizard-status');
      setText(status, '');
      try {
        await postJson(`/api/wizard/${encodeURIComponent(which)}`, {}, REQUEST_TIMEOUT_MS);
        if (which === 'continue') {
          w.continueLatchUntil = performance.now() + CONTINUE_LATCH_MS;
          w.linesAtPress = linesAtClick;
        }
      } catch (e) {
        setText(status, e.status === 409 ? 'That button is not available now.' : e.message);
      } finally {
        w.pressing = false;
      }
      // Draw what the press led to before the buttons take clicks again.
      await refresh();
      setButtonsBusy(false);
      if (w.continueLatchUntil) setTimeout(() => setButtonsBusy(w.pressing), CONTINUE_LATCH_MS + 50);
    }

    for (const b of dialog.querySelectorAll('[data-press]')) {
      b.addEventListener('click', () => press(b.dataset.press));
    }
    // The form is closed by its calibration, never by the operator.
    dialog.addEventListener('cancel', (ev) => ev.preventDefault());

    // Drag by the title bar, like a window.
    const bar = $('wizard-titlebar');
    bar.addEventListener('pointerdown', (ev) => {
      if (ev.button !== 0) return;
      const rect = dialog.getBoundingClientRect();
      const dx = ev.clientX - rect.left;
      const dy = ev.clientY - rect.top;
      bar.setPointerCapture(ev.pointerId);
      const move = (e) => {
        const left = Math.max(0, Math.min(window.innerWidth - 80, e.clientX - dx));
        const top = Math.max(0, Math.min(window.innerHeight - 40, e.clientY - dy));
        dialog.style.left = `${left}px`;
        dialog.style.top = `${top}px`;
        dialog.style.transform = 'none';
      };
      const up = () => {
        bar.removeEventListener('pointermove', move);
        bar.removeEventListener('pointerup', up);
        bar.removeEventListener('pointercancel', up);
      };
      bar.addEventListener('pointermove', move);
      bar.addEventListener('pointerup', up);
      bar.addEventListener('pointercancel', up);
    });

    return { hint, refresh };
  })();

  // ---------------------------------------------------------------- calibration schedule

  const SCHEDULE_POLL_MS = 30000;
  const CHECK_NAMES = { coastdown: 'Coastdown', parasitics: 'Parasitic loss',
                        load_cell: 'Load-cell calibration', weight_scales: 'Weight-scale calibration' };
  const STATE_TEXT = { ok: 'ok', due: 'due within 24 h', overdue: 'overdue', never_run: 'never run' };

  async function loadSchedule() {
    let answer;
    try {
      const res = await fetch('/api/schedule');
      if (!res.ok) return;
      answer = await res.json();
    } catch (e) {
      return;
    }
    const rows = $('schedule-rows');
    rows.textContent = '';
    const late = [];
    for (const item of answer.items) {
      const tr = document.createElement('tr');
      tr.dataset.kind = item.kind;
      tr.dataset.state = item.state;
      const when = (t) => (t ? new Date(t).toLocaleString() : '\u2013');
      for (const text of [CHECK_NAMES[item.kind] || item.kind, when(item.lastPass), when(item.due),
                          STATE_TEXT[item.state] || item.state]) {
        const td = document.createElement('td');
        td.textContent = text;
        tr.appendChild(td);
      }
      if (item.note) tr.title = item.note;
      rows.appendChild(tr);
      if (item.state === 'overdue') late.push(CHECK_NAMES[item.kind] || item.kind);
    }
    $('overdue-list').textContent = late.join(', ');
    $('overdue').hidden = late.length === 0;
  }

  // ---------------------------------------------------------------- start

  function tick() {
    updateReachability();
    watchStream();
  }

  wireSession();
  wireConsole();
  wireNotices();
  wireSimulator();
  for (const el of document.querySelectorAll('[data-needs-server]')) el.disabled = true;
  state.reachable = false;
  renderLinkState();
  loadSession();
  startStream();
  Wizard.refresh();
  loadNotices();
  loadSchedule();
  setInterval(loadSchedule, SCHEDULE_POLL_MS);
  setInterval(tick, 500);
  setInterval(loadNotices, NOTICE_POLL_MS);
  setInterval(() => { if (state.simulated && !document.hidden) loadSimState(); }, SIM_POLL_MS);
})();
