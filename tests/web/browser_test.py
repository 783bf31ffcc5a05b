#!/usr/bin/python3
"""The showcase page in headless Chromium against the native build.

Serves the built page (build/web/site), opens it in Chromium and drives it
over the DevTools protocol (a WebSocket; the client below needs nothing but
Python's standard library).  For every instruction-set level of the module
(SIMD128 and scalar) and every depth it asks the page for the still frame,
reads the canvas pixels back and compares them byte for byte with the
native demo's frame of the same scene, converted to RGBA (red, green, blue,
255).  Each of the page's switches (depth, blending, texturing) must change
the frame.  The page must load with no console error, no uncaught exception and
no failed request.

  browser_test.py SITE_DIR NATIVE_DEMO [--screenshot FILE.png] [--bench]

--screenshot saves the page as a visitor sees it (the README's picture);
--bench prints the frame times of 120 frames of the animation at 1024 x 768,
32 bpp (measured, not tested; the native demo's `--frames 120` is the same).
"""
import argparse
import base64
import functools
import http.server
import json
import os
import queue
import re
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request

WIDTH, HEIGHT = 1024, 768
DEPTHS = (8, 16, 24, 32)
# The runs: the level the page must report, its simd parameter, whether the
# engine is made to look as if it had no SIMD128 (WebAssembly.validate
# refuses SIMD128 code, as such an engine does), and the module it must load.
LEVELS = (("simd128", "", False, "kwrender_web.wasm"), ("scalar", "scalar", False, "kwrender_web.wasm"),
          ("scalar", "", True, "kwrender_web_scalar.wasm"))
NO_SIMD128 = """(() => {
  const validate = WebAssembly.validate;
  WebAssembly.validate = (bytes) =>
      !new Uint8Array(bytes.buffer || bytes, bytes.byteOffset || 0, bytes.byteLength).subarray(8).includes(0xfd) &&
      validate(bytes);
})();"""


class WebSocket:
    """A WebSocket client of the kind the DevTools endpoint needs: text
    messages, any length, masked frames out, pings and fragments in."""

    def __init__(self, url):
        m = re.match(r"ws://([^/:]+):(\d+)(/.*)", url)
        self.sock = socket.create_connection((m.group(1), int(m.group(2))), timeout=120)
        key = base64.b64encode(os.urandom(16)).decode()
        request = (f"GET {m.group(3)} HTTP/1.1\r\nHost: {m.group(1)}:{m.group(2)}\r\nUpgrade: websocket\r\n"
                   f"Connection: Upgrade\r\nSec-WebSocket-Key: {key}\r\nSec-WebSocket-Version: 13\r\n\r\n")
        self.sock.sendall(request.encode())
        response = b""
        while b"\r\n\r\n" not in response:
            chunk = self.sock.recv(4096)
            if not chunk:
                raise ConnectionError("the DevTools endpoint closed during the handshake")
            response += chunk
        head, rest = response.split(b"\r\n\r\n", 1)
        self.buffer = bytearray(rest)
        if b" 101 " not in head.split(b"\r\n")[0]:
            raise ConnectionError("WebSocket handshake refused: " + head.decode(errors="replace"))

    def _read(self, n):
        while len(self.buffer) < n:
            chunk = self.sock.recv(1 << 20)
            if not chunk:
                raise ConnectionError("the DevTools connection closed")
            self.buffer += chunk
        data = bytes(self.buffer[:n])
        del self.buffer[:n]
        return data

    def send(self, text):
        payload = text.encode()
        n = len(payload)
        if n < 126:
            header = struct.pack("!BB", 0x81, 0x80 | n)
        elif n < 1 << 16:
            header = struct.pack("!BBH", 0x81, 0x80 | 126, n)
        else:
            header = struct.pack("!BBQ", 0x81, 0x80 | 127, n)
        mask = os.urandom(4)
        masked = bytes(b ^ mask[i & 3] for i, b in enumerate(payload))
        self.sock.sendall(header + mask + masked)

    def receive(self):
        message = bytearray()
        while True:
            b0, b1 = self._read(2)
            n = b1 & 0x7F
            if n == 126:
                n = struct.unpack("!H", self._read(2))[0]
            elif n == 127:
                n = struct.unpack("!Q", self._read(8))[0]
            mask = self._read(4) if b1 & 0x80 else None
            payload = self._read(n)
            if mask:
                payload = bytes(b ^ mask[i & 3] for i, b in enumerate(payload))
            opcode = b0 & 0x0F
            if opcode == 0x8:
                raise ConnectionError("the DevTools connection closed")
            if opcode in (0x9, 0xA):  # ping, pong: nothing to answer for this use
                continue
            message += payload
            if b0 & 0x80:
                return bytes(message).decode()


class Page:
    """One page target of Chromium, its console problems collected."""

    def __init__(self, ws_url):
        self.ws = WebSocket(ws_url)
        self.next_id = 0
        self.problems = []
        for domain in ("Runtime", "Log", "Page"):
            self.call(domain + ".enable")

    def _event(self, message):
        method, params = message.get("method"), message.get("params", {})
        if method == "Runtime.consoleAPICalled" and params.get("type") in ("error", "assert"):
            text = " ".join(str(a.get("value", a.get("description", ""))) for a in params.get("args", []))
            self.problems.append("console." + params["type"] + ": " + text)
        elif method == "Runtime.exceptionThrown":
            details = params.get("exceptionDetails", {})
            self.problems.append("exception: " + details.get("exception", {}).get("description", details.get("text", "")))
        elif method == "Log.entryAdded" and params.get("entry", {}).get("level") == "error":
            entry = params["entry"]
            self.problems.append("log: " + entry.get("text", "") + " " + entry.get("url", ""))

    def call(self, method, **params):
        self.next_id += 1
        ident = self.next_id
        self.ws.send(json.dumps({"id": ident, "method": method, "params": params}))
        while True:
            message = json.loads(self.ws.receive())
            if message.get("id") == ident:
                if "error" in message:
                    raise RuntimeError(f"{method}: {message['error']}")
                return message.get("result", {})
            self._event(message)

    def evaluate(self, expression):
        result = self.call("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in result:
            details = result["exceptionDetails"]
            raise RuntimeError(f"{expression}: " + details.get("exception", {}).get("description", details.get("text", "")))
        return result["result"].get("value")

    def open(self, url, timeout=60):
        known = len(self.problems)
        self.call("Page.navigate", url=url)
        deadline = time.time() + timeout
        while time.time() < deadline:
            if self.evaluate("Boolean(window.kwrPage && window.kwrPage.ready)"):
                return
            if len(self.problems) > known:
                break
            time.sleep(0.1)
        raise RuntimeError(f"{url} did not get ready: " + "; ".join(self.problems[known:]))


def serve(site):
    """The page's directory over HTTP on a free localhost port."""
    class Quiet(http.server.SimpleHTTPRequestHandler):
        def log_message(self, *args):
            pass

    handler = functools.partial(Quiet, directory=site)
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server


def start_chromium(profile):
    exe = shutil.which("chromium") or shutil.which("chromium-browser")
    args = [exe, "--headless", "--remote-debugging-port=0", "--user-data-dir=" + profile, "--no-first-run",
            "--disable-gpu", "--disable-dev-shm-usage", "--force-color-profile=srgb", "--hide-scrollbars",
            "--window-size=1100,960", "about:blank"]
    if os.geteuid() == 0:
        args.insert(1, "--no-sandbox")  # Chromium's sandbox refuses to run as root
    proc = subprocess.Popen(args, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    # Chromium's log is read on a thread for as long as it runs, so that it
    # never blocks on a full pipe and a silent Chromium cannot hang the test.
    lines = queue.Queue()
    threading.Thread(target=lambda: [lines.put(line) for line in proc.stderr] + [lines.put(None)],
                     daemon=True).start()
    deadline = time.time() + 60
    log = []
    while time.time() < deadline:
        try:
            line = lines.get(timeout=max(0.1, deadline - time.time()))
        except queue.Empty:
            break
        if line is None:
            break
        log.append(line.rstrip())
        m = re.search(r"DevTools listening on ws://127\.0\.0\.1:(\d+)/", line)
        if m:
            return proc, int(m.group(1))
    proc.kill()
    raise RuntimeError("Chromium did not start its DevTools endpoint: " + " | ".join(log[-5:]))


def page_target(port):
    with urllib.request.urlopen(f"http://127.0.0.1:{port}/json/list", timeout=30) as r:
        targets = json.load(r)
    return next(t["webSocketDebuggerUrl"] for t in targets if t.get("type") == "page")


def read_bmp_rgba(path):
    """A 24-bit bitmap file (what the demo writes of a presented frame) as
    top-down RGBA bytes."""
    with open(path, "rb") as f:
        data = f.read()
    offset, = struct.unpack_from("<I", data, 10)
    width, height, _, bpp = struct.unpack_from("<iiHH", data, 18)
    if bpp != 24:
        raise RuntimeError(f"{path}: {bpp} bits per pixel, expected 24")
    stride = (width * 3 + 3) & ~3
    out = bytearray(width * abs(height) * 4)
    for y in range(abs(height)):
        src_row = y if height < 0 else abs(height) - 1 - y
        row = data[offset + src_row * stride: offset + src_row * stride + width * 3]
        o = y * width * 4
        out[o + 0:o + width * 4:4] = row[2::3]
        out[o + 1:o + width * 4:4] = row[1::3]
        out[o + 2:o + width * 4:4] = row[0::3]
        out[o + 3:o + width * 4:4] = b"\xff" * width
    return width, abs(height), bytes(out)


def first_difference(got, want, width):
    for i in range(0, min(len(got), len(want)), 4):
        if got[i:i + 4] != want[i:i + 4]:
            p = i // 4
            return f"pixel ({p % width}, {p // width}): page {tuple(got[i:i + 4])}, native {tuple(want[i:i + 4])}"
    return f"lengths {len(got)} and {len(want)}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("site")
    parser.add_argument("demo", nargs="+", help="the native demo program (with an emulator before it, if any)")
    parser.add_argument("--screenshot")
    parser.add_argument("--bench", action="store_true")
    args = parser.parse_args()

    work = tempfile.mkdtemp(prefix="kwr-web-")
    failures = []
    proc = None
    server = serve(args.site)
    try:
        # The native frames: the demo's gallery pictures of the showcase.
        subprocess.run(args.demo + ["--gallery", work, "--format", "bmp", "--size", f"{WIDTH}x{HEIGHT}"],
                       check=True, stdout=subprocess.DEVNULL)
        native = {bpp: read_bmp_rgba(os.path.join(work, f"showcase_{bpp}bpp.bmp")) for bpp in DEPTHS}

        proc, port = start_chromium(os.path.join(work, "profile"))
        page = Page(page_target(port))
        page.call("Emulation.setDeviceMetricsOverride", width=1100, height=960, deviceScaleFactor=1, mobile=False)
        base = f"http://127.0.0.1:{server.server_address[1]}/index.html"

        for level, simd, no_simd128, module in LEVELS:
            script = page.call("Page.addScriptToEvaluateOnNewDocument", source=NO_SIMD128) if no_simd128 else None
            page.open(base + ("?simd=" + simd if simd else ""))
            if no_simd128:
                page.call("Page.removeScriptToEvaluateOnNewDocument", identifier=script["identifier"])
                level += " (no SIMD128)"
            got_level = page.evaluate("kwrPage.level")
            if not level.startswith(got_level):
                failures.append(f"the page runs at {got_level}, expected {level}")
            fetched = page.evaluate("performance.getEntriesByType('resource').map(e => e.name.split('/').pop())")
            if [f for f in fetched if f.endswith(".wasm")] != [module]:
                failures.append(f"{level}: the page fetched {fetched}, expected the module {module}")
            for bpp in DEPTHS:
                pixels = base64.b64decode(page.evaluate(f"kwrPage.still({bpp})"))
                width, _, want = native[bpp]
                same = pixels == want
                print(f"{level:20} {bpp:2} bpp: canvas {'identical to' if same else 'DIFFERS from'} the native frame")
                if not same:
                    failures.append(f"{level}, {bpp} bpp: {first_difference(pixels, want, width)}")
            full = pixels  # 32 bpp, everything on
            for bit, name in ((1, "depth"), (2, "blending"), (4, "texturing")):
                if base64.b64decode(page.evaluate(f"kwrPage.still(32, {7 & ~bit})")) == full:
                    failures.append(f"{level}: switching {name} off leaves the frame as it was")
            if args.bench:
                for bpp in (32,):
                    t = page.evaluate(f"kwrPage.time({bpp}, 120)")
                    print(f"{level:8} {bpp:2} bpp, {WIDTH}x{HEIGHT}: 120 frames, {t['mean']:.2f} ms per frame, "
                          f"median {t['median']:.2f}, best {t['best']:.2f} ms")
        if args.screenshot:
            page.open(base)
            time.sleep(2)  # a couple of seconds of animation for the frame time
            shot = page.call("Page.captureScreenshot", format="png")
            with open(args.screenshot, "wb") as f:
                f.write(base64.b64decode(shot["data"]))
            print("screenshot", args.screenshot)
        page.evaluate("0")  # collects events still in flight
        if page.problems:
            failures += ["page: " + p for p in page.problems]
        else:
            print("the page loaded and ran with no console error")
    except (RuntimeError, OSError, subprocess.CalledProcessError) as e:
        failures.append(str(e))
    finally:
        if proc:
            proc.kill()
            proc.wait()
        server.shutdown()
        shutil.rmtree(work, ignore_errors=True)
    for f in failures:
        print("FAILED:", f)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
