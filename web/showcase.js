// The showcase page: the module (from examples/web.cpp) draws each frame
// into the library's memory target and hands back RGBA bytes, which go into
// the canvas unchanged, copied once (by putImageData, straight from the
// module's memory).  The knot turns one degree a frame, as in the native
// demo's animation.
//
// Two builds of the module sit beside the page: kwrender_web.js with the
// SIMD128 lane blocks, and kwrender_web_scalar.js without them for engines
// that have no SIMD128 (which cannot even compile the first).  The page
// asks the engine with WebAssembly.validate and loads the one it can run.
//
// Query parameters: bpp=8|16|24|32 (the starting depth), simd=scalar (caps
// the instruction set, as KWRENDER_SIMD does natively), still (frame 0 and
// no animation).
//
// window.kwrPage is the hook the browser test drives: still(bpp, switches)
// draws frame 0 (with everything on unless `switches` says otherwise: 1
// depth, 2 blending, 4 texturing) and returns the canvas's pixels read back
// (RGBA, base64); module is the module's file name; time(bpp, frames) draws that many frames of the
// animation and returns their mean, median and best drawing times in
// milliseconds.
'use strict';

(function () {
  const params = new URLSearchParams(window.location.search);
  const el = (id) => document.getElementById(id);
  const canvas = el('frame');
  const ctx = canvas.getContext('2d');
  const ui = {
    bpp: el('bpp'), depth: el('depth'), blending: el('blending'), texturing: el('texturing'),
    perspective: el('perspective'),
    pause: el('pause'), simd: el('simd'), stats: el('stats'), error: el('error'),
  };
  // The switches of kwrWebDraw (examples/web.cpp).
  const DEPTH = 1, BLENDING = 2, TEXTURING = 4, PERSPECTIVE = 8, ALL = DEPTH | BLENDING | TEXTURING;

  // A module of one SIMD128 function, () -> v128 returning
  // i8x16.popcnt(i8x16.splat(0)): valid exactly where the engine has SIMD128.
  const SIMD128_PROBE = new Uint8Array([0, 97, 115, 109, 1, 0, 0, 0, 1, 5, 1, 96, 0, 1, 123, 3, 2, 1, 0, 10, 10, 1, 8,
                                        0, 65, 0, 253, 15, 253, 98, 11]);
  const simd128 = typeof WebAssembly === 'object' && WebAssembly.validate(SIMD128_PROBE);
  const moduleFile = simd128 ? 'kwrender_web.js' : 'kwrender_web_scalar.js';

  let lib = null;
  let frame = 0;         // animation frame number
  let running = !params.has('still');
  let recent = [];       // [drawing ms, triangles] of the last frames
  let shownAt = 0;

  function fail(message) {
    ui.error.textContent = message;
    console.error(message);
  }

  function switches() {
    return (ui.depth.checked ? DEPTH : 0) | (ui.blending.checked ? BLENDING : 0) |
           (ui.texturing.checked ? TEXTURING : 0) | (ui.perspective.checked ? PERSPECTIVE : 0);
  }

  function setDepth(bpp) {
    if (!lib._kwrWebSetFrame(canvas.width, canvas.height, bpp)) {
      throw new Error('the library refused a ' + canvas.width + 'x' + canvas.height + ' frame of ' + bpp + ' bpp');
    }
    ui.bpp.value = String(bpp);
    recent = [];
  }

  // Draws frame n into the canvas; returns its drawing time in ms.
  function draw(n, which) {
    const at = lib._kwrWebDraw(n, which);
    if (!at) throw new Error('no frame buffer');
    // An image over the module's memory (made anew each frame: the memory
    // may have grown and moved); putImageData's copy is the only one.
    const bytes = new Uint8ClampedArray(lib.HEAPU8.buffer, at, canvas.width * canvas.height * 4);
    ctx.putImageData(new ImageData(bytes, canvas.width, canvas.height), 0, 0);
    return lib._kwrWebDrawMs();
  }

  function showStats() {
    let ms = 0, triangles = 0;
    for (const [m, t] of recent) { ms += m; triangles += t; }
    const n = recent.length;
    if (n === 0) return;
    const perFrame = ms / n;
    const millions = ms > 0 ? triangles / ms / 1000 : 0;
    ui.stats.textContent = 'frame ' + perFrame.toFixed(2) + ' ms (' + (perFrame > 0 ? (1000 / perFrame).toFixed(0) : '-') +
        ' fps) \u00b7 ' + Math.round(triangles / n) + ' triangles drawn \u00b7 ' + millions.toFixed(2) +
        ' M triangles/s \u00b7 ' + ui.bpp.value + ' bpp \u00b7 ' + lib.UTF8ToString(lib._kwrWebLevel()) +
        ' \u00b7 mean of ' + n + (n === 1 ? ' frame' : ' frames');
  }

  function tick() {
    if (!running) return;
    try {
      const ms = draw(frame++, switches());
      recent.push([ms, lib._kwrWebTriangles()]);
      if (recent.length > 60) recent.shift();
      const now = performance.now();
      if (now - shownAt > 250) { showStats(); shownAt = now; }
    } catch (e) {
      running = false;
      fail('drawing failed: ' + e.message);
      return;
    }
    window.requestAnimationFrame(tick);
  }

  function start() {
    running = true;
    ui.pause.textContent = 'pause';
    window.requestAnimationFrame(tick);
  }

  function stop() {
    running = false;
    ui.pause.textContent = 'run';
  }

  // Binary bytes as base64, in slices small enough for the argument list.
  function base64(bytes) {
    let text = '';
    for (let i = 0; i < bytes.length; i += 0x8000) {
      text += String.fromCharCode.apply(null, bytes.subarray(i, i + 0x8000));
    }
    return window.btoa(text);
  }

  window.kwrPage = {
    ready: false,
    level: '',
    module: moduleFile,
    still(bpp, which = ALL) {
      stop();
      setDepth(bpp);
      ui.depth.checked = (which & DEPTH) !== 0;
      ui.blending.checked = (which & BLENDING) !== 0;
      ui.texturing.checked = (which & TEXTURING) !== 0;
      ui.perspective.checked = (which & PERSPECTIVE) !== 0;
      draw(0, which);
      recent = [[lib._kwrWebDrawMs(), lib._kwrWebTriangles()]];
      showStats();
      return base64(ctx.getImageData(0, 0, canvas.width, canvas.height).data);
    },
    time(bpp, frames) {
      stop();
      setDepth(bpp);
      const times = [];
      for (let i = 0; i < frames; ++i) {
        times.push(draw(i, ALL));
        recent.push([times[i], lib._kwrWebTriangles()]);
        if (recent.length > 60) recent.shift();
      }
      showStats();
      const mean = times.reduce((a, b) => a + b, 0) / frames;
      times.sort((a, b) => a - b);
      return { mean: mean, median: times[frames >> 1], best: times[0], triangles: lib._kwrWebTriangles() };
    },
  };

  ui.bpp.addEventListener('change', () => {
    setDepth(Number(ui.bpp.value));
    if (!running) draw(frame, switches());
  });
  for (const box of [ui.depth, ui.blending, ui.texturing, ui.perspective]) {
    box.addEventListener('change', () => { recent = []; if (!running) draw(frame, switches()); });
  }
  ui.pause.addEventListener('click', () => (running ? stop() : start()));
  ui.simd.value = params.get('simd') === 'scalar' ? 'scalar' : '';
  ui.simd.addEventListener('change', () => {
    const next = new URLSearchParams(window.location.search);
    if (ui.simd.value) next.set('simd', ui.simd.value); else next.delete('simd');
    window.location.search = next.toString();
  });

  new Promise((resolve, reject) => {
    const script = document.createElement('script');
    script.src = moduleFile;
    script.onload = resolve;
    script.onerror = () => reject(new Error(moduleFile + ' did not load: build the page with tools/web.sh'));
    document.head.appendChild(script);
  }).then(() => kwrenderShowcase()).then((module) => {
    lib = module;
    lib.ccall('kwrWebStart', 'number', ['string'], [params.get('simd') || '']);
    const bpp = Number(params.get('bpp') || 32);
    setDepth([8, 16, 24, 32].includes(bpp) ? bpp : 32);
    window.kwrPage.level = lib.UTF8ToString(lib._kwrWebLevel());
    window.kwrPage.ready = true;
    if (running) {
      start();
    } else {
      stop();
      draw(0, switches());
      recent = [[lib._kwrWebDrawMs(), lib._kwrWebTriangles()]];
      showStats();
    }
  }, (e) => fail('the WebAssembly module did not start: ' + e.message));
})();
