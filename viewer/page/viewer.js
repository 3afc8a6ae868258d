'use strict';
// The viewer's page: pictures fetched one after the other as JPEG, the parameter tree with a
// field per parameter, and the controls. Plain standard script; the server is the tool itself.

const $ = (id) => document.getElementById(id);
const rows = new Map();  // parameter name -> {param, row, input, error}
window.viewerStats = { drawn: 0, fps: 0, width: 0, height: 0, sequence: 0 };

async function api(path, options) {
  const response = await fetch(path, options);
  const text = await response.text();
  let body = {};
  try { body = text ? JSON.parse(text) : {}; } catch (e) { body = { error: text }; }
  if (!response.ok) throw new Error(body.error || response.status + ' ' + response.statusText);
  return body;
}

function postJson(path, value) {
  return api(path, { method: 'POST', headers: { 'Content-Type': 'application/json' }, body: JSON.stringify(value) });
}

// ---- parameters

function signature(p) {
  return [p.type, p.editable, JSON.stringify(p.entries || null)].join('|');
}

function makeInput(p) {
  if (!p.editable) {
    const span = document.createElement('span');
    span.className = 'readonly';
    return span;
  }
  if (p.entries) {
    const select = document.createElement('select');
    for (const e of p.entries) {
      const option = document.createElement('option');
      option.value = String(e.value);
      option.textContent = e.label + ' (' + e.symbol + ')';
      select.append(option);
    }
    return select;
  }
  const input = document.createElement('input');
  if (p.type === 'string') {
    input.type = 'text';
  } else {
    input.type = 'number';
    input.min = p.min;
    input.max = p.max;
    input.step = p.step ? p.step : 'any';
    input.required = true;
  }
  return input;
}

function showValue(entry) {
  const p = entry.param;
  if (!p.editable) {
    entry.input.textContent = p.value !== undefined ? p.text : (p.range || '');
    entry.input.title = p.error || '';
  } else if (document.activeElement !== entry.input || entry.input.dataset.sent) {
    entry.input.value = p.value !== undefined ? p.value : '';
    delete entry.input.dataset.sent;
  }
  if (p.editable && p.min !== undefined) { entry.input.min = p.min; entry.input.max = p.max; }
}

function makeRow(p) {
  const row = document.createElement('div');
  row.className = 'param';
  row.dataset.name = p.name;
  const name = document.createElement('span');
  name.className = 'name';
  name.textContent = p.name;
  name.title = (p.help ? p.help + '\n' : '') + p.type + ', ' + p.access + (p.unit ? ', ' + p.unit : '');
  const cell = document.createElement('span');
  const input = makeInput(p);
  cell.append(input);
  if (p.unit) {
    const unit = document.createElement('span');
    unit.className = 'unit';
    unit.textContent = ' ' + p.unit;
    cell.append(unit);
  }
  const error = document.createElement('div');
  error.className = 'error';
  row.append(name, cell, error);
  const entry = { param: p, row, input, error };
  if (p.editable) input.addEventListener('change', () => change(entry));
  return entry;
}

function renderTree(tree) {
  const root = $('tree');
  const seen = new Set();
  for (const group of tree.groups) {
    let details = root.querySelector('details[data-path="' + CSS.escape(group.path) + '"]');
    if (!details) {
      details = document.createElement('details');
      details.dataset.path = group.path;
      details.open = true;
      const summary = document.createElement('summary');
      summary.textContent = group.path;
      details.append(summary);
      root.append(details);
    }
    for (const p of group.parameters) {
      seen.add(p.name);
      let entry = rows.get(p.name);
      if (entry && signature(entry.param) !== signature(p)) {
        // Its access or entries changed: a field of the new kind replaces it.
        const fresh = makeRow(p);
        entry.row.replaceWith(fresh.row);
        entry = fresh;
      } else if (!entry) {
        entry = makeRow(p);
        details.append(entry.row);
      }
      entry.param = p;
      rows.set(p.name, entry);
      showValue(entry);
    }
  }
  for (const [name, entry] of rows) {
    if (!seen.has(name)) { entry.row.remove(); rows.delete(name); }
  }
}

async function change(entry) {
  const p = entry.param;
  const input = entry.input;
  entry.error.textContent = '';
  if (input.checkValidity && !input.checkValidity()) {
    entry.error.textContent = input.validationMessage + ' (' + p.min + '..' + p.max +
      (p.step ? ' step ' + p.step : '') + ')';
    return;
  }
  try {
    input.dataset.sent = '1';
    renderTree(await postJson('/api/parameters', { name: p.name, value: input.value }));
  } catch (e) {
    entry.error.textContent = e.message;
    showValue(entry);
  }
}

async function loadTree() {
  renderTree(await api('/api/parameters'));
}

// ---- pictures

const picture = $('picture');
const context = picture.getContext('2d', { willReadFrequently: true });
const histogram = $('histogram');
const drawTimes = [];

function applyZoom() {
  const zoom = $('zoom').value;
  if (zoom === 'fit') {
    picture.style.width = '100%';
    picture.style.height = 'auto';
  } else {
    picture.style.width = picture.width * Number(zoom) + 'px';
    picture.style.height = picture.height * Number(zoom) + 'px';
  }
}

function drawHistogram() {
  const w = picture.width, h = picture.height;
  const data = context.getImageData(0, 0, w, h).data;
  const counts = [new Uint32Array(256), new Uint32Array(256), new Uint32Array(256)];
  const [r, g, b] = counts;
  for (let i = 0; i < data.length; i += 4) { r[data[i]]++; g[data[i + 1]]++; b[data[i + 2]]++; }
  let most = 1;
  for (const c of counts) for (let v = 0; v < 256; ++v) most = Math.max(most, c[v]);
  const hc = histogram.getContext('2d');
  hc.globalCompositeOperation = 'source-over';
  hc.fillStyle = '#111';
  hc.fillRect(0, 0, histogram.width, histogram.height);
  hc.globalCompositeOperation = 'lighter';
  const colours = ['#c00', '#0a0', '#00d'];
  const scale = histogram.width / 256;
  // Square root: a few full bins should not flatten the rest.
  const norm = Math.sqrt(most);
  counts.forEach((c, k) => {
    hc.fillStyle = colours[k];
    for (let v = 0; v < 256; ++v) {
      const height = Math.sqrt(c[v]) / norm * histogram.height;
      hc.fillRect(v * scale, histogram.height - height, scale, height);
    }
  });
}

async function frameLoop() {
  let sequence = 0;
  for (;;) {
    try {
      const response = await fetch('/api/frame?after=' + sequence, { cache: 'no-store' });
      if (response.status !== 200) {
        if (response.status !== 204) await new Promise((ok) => setTimeout(ok, 500));
        continue;
      }
      sequence = Number(response.headers.get('X-Frame-Sequence'));
      const bitmap = await createImageBitmap(await response.blob());
      if (picture.width !== bitmap.width || picture.height !== bitmap.height) {
        picture.width = bitmap.width;
        picture.height = bitmap.height;
        applyZoom();
      }
      context.drawImage(bitmap, 0, 0);
      bitmap.close();
      drawHistogram();
      const now = performance.now();
      drawTimes.push(now);
      while (drawTimes.length > 2 && now - drawTimes[0] > 2000) drawTimes.shift();
      const stats = window.viewerStats;
      stats.drawn++;
      stats.fps = drawTimes.length > 1 ? (drawTimes.length - 1) * 1000 / (now - drawTimes[0]) : 0;
      stats.width = picture.width;
      stats.height = picture.height;
      stats.sequence = sequence;
    } catch (e) {
      await new Promise((ok) => setTimeout(ok, 1000));
    }
  }
}

async function statusLoop() {
  for (;;) {
    try {
      const s = await api('/api/status');
      $('board').textContent = 'board ' + s.board + (s.running ? '' : ' (stopped)');
      $('stats').textContent = s.width + ' x ' + s.height + ' · board ' + s.boardFps.toFixed(1) +
        ' frames/s · shown ' + s.shownFps.toFixed(1) + ' · page ' + window.viewerStats.fps.toFixed(1) +
        ' · picture ' + s.picture + ' · skipped ' + s.skipped + ' · lost ' + (s.lost < 0 ? 'n/a' : s.lost);
      $('frame-error').textContent = s.error;
      $('start').disabled = s.running;
      $('stop').disabled = !s.running;
    } catch (e) {
      $('frame-error').textContent = 'the viewer does not answer: ' + e.message;
    }
    await new Promise((ok) => setTimeout(ok, 1000));
  }
}

// ---- controls

async function control(path, errorField) {
  $(errorField).textContent = '';
  try { await api(path, { method: 'POST' }); } catch (e) { $(errorField).textContent = e.message; }
}

$('start').addEventListener('click', () => control('/api/start', 'config-error'));
$('stop').addEventListener('click', () => control('/api/stop', 'config-error'));
$('trigger').addEventListener('click', () => control('/api/trigger', 'config-error'));
$('zoom').addEventListener('change', applyZoom);
$('load').addEventListener('change', async () => {
  const file = $('load').files[0];
  if (!file) return;
  $('config-error').textContent = '';
  try {
    renderTree(await api('/api/config', { method: 'POST', body: await file.arrayBuffer() }));
  } catch (e) {
    $('config-error').textContent = file.name + ': ' + e.message;
  }
  $('load').value = '';
});

async function setUpScene() {
  const scene = await api('/api/scene');
  if (!scene.available) return;
  const kind = $('scene-kind');
  for (const k of scene.kinds) {
    const option = document.createElement('option');
    option.value = k.kind;
    option.textContent = k.label;
    option.dataset.path = k.path;
    kind.append(option);
  }
  const showPath = () => { $('scene-path').hidden = kind.selectedOptions[0].dataset.path !== 'true'; };
  kind.value = scene.current.kind;
  $('scene-path').value = scene.current.path;
  showPath();
  kind.addEventListener('change', showPath);
  $('scene-apply').addEventListener('click', async () => {
    $('scene-error').textContent = '';
    try {
      await postJson('/api/scene', { kind: kind.value, path: $('scene-path').value });
    } catch (e) {
      $('scene-error').textContent = e.message;
    }
  });
  $('scene').hidden = false;
}

loadTree().catch((e) => { $('tree').textContent = e.message; });
setUpScene().catch(() => {});
frameLoop();
statusLoop();
