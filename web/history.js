// The history page: the runs in a filterable, paged table; for the chosen run its results, its
// speed against time (coastdown windows marked), a parasitic run's loss against speed, a
// coastdown's calculated and actual window times; and the parasitic loss over the last runs.
'use strict';

(() => {
  const $ = (id) => document.getElementById(id);
  const charts = {};
  const num = (v) => (typeof v === 'number' ? Number(v.toPrecision(7)).toString() : String(v));
  let cursor = null;

  async function getJson(path) {
    const res = await fetch(path);
    const body = await res.json();
    if (!res.ok) throw new Error(body.error || `${res.status}`);
    return body;
  }

  function query() {
    const q = new URLSearchParams();
    if ($('f-kind').value) q.set('kind', $('f-kind').value);
    if ($('f-status').value) q.set('status', $('f-status').value);
    if ($('f-since').value) q.set('since', $('f-since').value);
    if ($('f-until').value) q.set('until', $('f-until').value);
    return q;
  }

  async function loadRuns(more) {
    const q = query();
    $('csv').href = `/api/history.csv?${q}`;
    q.set('limit', '50');
    if (more && cursor) q.set('cursor', cursor);
    const answer = await getJson(`/api/history?${q}`);
    const rows = $('runs');
    if (!more) rows.textContent = '';
    for (const run of answer.runs) {
      const tr = document.createElement('tr');
      tr.dataset.id = run.id;
      tr.dataset.kind = run.kind;
      tr.dataset.state = run.passed ? 'ok' : (run.status === 'completed' ? 'due' : 'overdue');
      for (const text of [run.id, run.kind, run.startLocal, run.status + (run.reason ? ` (${run.reason})` : ''),
                          run.passed ? 'yes' : 'no', run.samples]) {
        const td = document.createElement('td');
        td.textContent = text;
        tr.appendChild(td);
      }
      tr.addEventListener('click', () => showRun(run.id));
      tr.style.cursor = 'pointer';
      rows.appendChild(tr);
    }
    cursor = answer.nextCursor;
    $('more').hidden = !cursor;
    $('runs-empty').hidden = rows.children.length > 0;
  }

  function facts(dl, values) {
    dl.textContent = '';
    for (const [name, value] of Object.entries(values || {})) {
      const div = document.createElement('div');
      const dt = document.createElement('dt');
      const dd = document.createElement('dd');
      dt.textContent = name;
      dd.textContent = num(value);
      dd.dataset.result = name;
      div.append(dt, dd);
      dl.appendChild(div);
    }
  }

  function chart(id, config) {
    if (charts[id]) charts[id].destroy();
    charts[id] = new Chart($(id), config);
    return charts[id];
  }

  // A horizontal line across the trace, as a dataset of two points.
  function level(label, y, t0, t1, color) {
    return { label, data: [{ x: t0, y }, { x: t1, y }], borderColor: color, borderDash: [6, 4],
             pointRadius: 0, borderWidth: 1, showLine: true };
  }

  async function showRun(id) {
    const [run, trace] = await Promise.all([getJson(`/api/history/${id}`), getJson(`/api/history/${id}/trace`)]);
    $('run').hidden = false;
    $('run').dataset.id = id;
    $('run-title').textContent = `Run ${run.id}: ${run.kind}`;
    $('run-summary').textContent = `${run.startLocal} to ${run.endLocal || '\u2013'} (station time), ` +
      `${run.status}${run.reason ? ` \u2013 ${run.reason}` : ''}; firmware ${num(run.firmware)}, roll ${num(run.rollDiameter)} in, ` +
      `base inertia ${num(run.baseInertia)} lb; link errors during the run: ` +
      Object.entries(run.linkCounters || {}).map(([k, v]) => `${k} ${v}`).join(', ');
    $('trace-csv').href = `/api/history/${id}/trace.csv`;
    facts($('run-results'), run.results);
    facts($('run-parameters'), run.parameters);

    const c = trace.columns;
    const points = c.timeS.map((t, i) => ({ x: t, y: c.speedMph[i] }));
    const t0 = c.timeS.length ? c.timeS[0] : 0;
    const t1 = c.timeS.length ? c.timeS[c.timeS.length - 1] : 1;
    const datasets = [{ label: 'speed (mph)', data: points, borderColor: '#1565c0', pointRadius: 0, borderWidth: 1.5, showLine: true }];
    const r = run.results || {};
    if (run.kind === 'coastdown') {
      for (const [w, color] of [['high', '#c62828'], ['low', '#2e7d32']]) {
        if (r[`${w}TopSpeedMph`]) datasets.push(level(`${w} window top`, r[`${w}TopSpeedMph`], t0, t1, color));
        if (r[`${w}BottomSpeedMph`]) datasets.push(level(`${w} window bottom`, r[`${w}BottomSpeedMph`], t0, t1, color));
      }
    }
    chart('speed-chart', { type: 'scatter', data: { datasets },
      options: { animation: false, maintainAspectRatio: false, scales: { x: { title: { display: true, text: 's' } }, y: { title: { display: true, text: 'mph' } } } } });

    $('loss-figure').hidden = run.kind !== 'parasitics';
    if (run.kind === 'parasitics') {
      const measured = [0, 1, 2, 3, 4].map((i) => ({ x: r[`window${i}NominalMph`], y: r[`window${i}LossHp`] }));
      const fitted = [15, 25, 35].map((v) => ({ x: v, y: r[`losses${v}MphHp`] }));
      chart('loss-chart', { type: 'scatter', data: { datasets: [
        { label: 'measured loss (hp)', data: measured, backgroundColor: '#1565c0' },
        { label: 'fitted curve (hp)', data: fitted, borderColor: '#c62828', showLine: true, tension: 0.4 }] },
        options: { animation: false, maintainAspectRatio: false, scales: { x: { title: { display: true, text: 'mph' } }, y: { title: { display: true, text: 'hp' } } } } });
    }
    $('window-figure').hidden = run.kind !== 'coastdown';
    if (run.kind === 'coastdown') {
      const schedule = await getJson('/api/schedule').catch(() => ({ coastdownTolerancePercent: 7 }));
      const tol = schedule.coastdownTolerancePercent / 100;
      const calc = [r.highCalculatedSeconds, r.lowCalculatedSeconds];
      chart('window-chart', { type: 'bar', data: { labels: ['high window', 'low window'], datasets: [
        { label: 'calculated (s)', data: calc, backgroundColor: '#90caf9' },
        { label: 'actual (s)', data: [r.highActualSeconds, r.lowActualSeconds], backgroundColor: '#1565c0' },
        { label: 'tolerance low', type: 'line', data: calc.map((v) => v * (1 - tol)), borderColor: '#c62828', borderDash: [4, 4] },
        { label: 'tolerance high', type: 'line', data: calc.map((v) => v * (1 + tol)), borderColor: '#c62828', borderDash: [4, 4] }] },
        options: { animation: false, maintainAspectRatio: false } });
    }
  }

  async function loadTrend() {
    const answer = await getJson('/api/history?kind=parasitics&status=completed&limit=20');
    const runs = answer.runs.slice().reverse();
    chart('trend-chart', { type: 'line', data: { labels: runs.map((r) => r.startLocal.slice(0, 10)), datasets: [
      { label: 'loss at 15 mph (hp)', data: runs.map((r) => r.results.losses15MphHp), borderColor: '#2e7d32' },
      { label: 'loss at 25 mph (hp)', data: runs.map((r) => r.results.losses25MphHp), borderColor: '#1565c0' },
      { label: 'loss at 35 mph (hp)', data: runs.map((r) => r.results.losses35MphHp), borderColor: '#c62828' }] },
      options: { animation: false, maintainAspectRatio: false } });
  }

  $('filters').addEventListener('submit', (ev) => {
    ev.preventDefault();
    loadRuns(false);
  });
  $('more').addEventListener('click', () => loadRuns(true));
  const wanted = new URLSearchParams(location.search).get('run');
  loadRuns(false).then(() => (wanted ? showRun(wanted) : null));
  loadTrend();
})();
