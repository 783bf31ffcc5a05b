// Under Node.js the program sees the process's environment (KWRENDER_SIMD,
// KWRENDER_THREADS) as a native program would; in a browser it has none.
Module['preRun'] = Module['preRun'] || [];
Module['preRun'].push(function () {
  if (typeof ENV === 'object' && typeof process === 'object' && process.env) Object.assign(ENV, process.env);
});
