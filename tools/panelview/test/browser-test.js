// The panel view in a real browser: the demo panel runs in simulator mode, the view comes up after it
// (so it must ask the panel for what it missed), and two pages of Debian's headless Chromium follow it.
// A lamp key is pressed, the fader moved, a module unplugged and plugged, bad requests sent, and the
// panel stopped and started again; every wait is for something the page shows, bounded by a timeout.
//
//   node browser-test.js PANELHOST DRIVERLIB PANELVIEW DEMOCONFIG
'use strict';

const { chromium } = require('playwright-core');
const { spawn } = require('child_process');
const dgram = require('dgram');
const fs = require('fs');
const os = require('os');
const path = require('path');

const [panelhost, driver, panelview, demoConfig] = process.argv.slice(2);
const timeout = 20000;
const work = fs.mkdtempSync(path.join(os.tmpdir(), 'panelview-'));
const processes = [];
let checks = 0;

function ok(text) {
  checks++;
  console.log(`ok ${checks} - ${text}`);
}

// A child process whose output is kept, with a wait for a line matching a pattern.
function start(name, command, args, options) {
  const child = spawn(command, args, { stdio: ['pipe', 'pipe', 'pipe'], ...options });
  const entry = { name, child, output: '', exited: null };
  for (const stream of [child.stdout, child.stderr]) {
    stream.on('data', (data) => { entry.output += data.toString(); });
  }
  entry.done = new Promise((resolve) => child.on('exit', (code, signal) => {
    entry.exited = { code, signal };
    resolve(entry.exited);
  }));
  entry.waitFor = (pattern) => new Promise((resolve, reject) => {
    const started = Date.now();
    const poll = () => {
      const match = entry.output.match(pattern);
      if (match) return resolve(match);
      if (entry.exited || Date.now() - started > timeout) {
        return reject(new Error(`${name}: no ${pattern} in its output`));
      }
      return setTimeout(poll, 20);
    };
    poll();
  });
  processes.push(entry);
  return entry;
}

function freeUdpPort() {
  return new Promise((resolve) => {
    const socket = dgram.createSocket('udp4');
    socket.bind(0, '127.0.0.1', () => {
      const { port } = socket.address();
      socket.close(() => resolve(port));
    });
  });
}

async function startPanel(simulatorPort) {
  const host = start('panelhost', panelhost, ['--mode', 'simulator', '--simulator', `127.0.0.1:${simulatorPort}`],
    { cwd: work });
  // The shell answers once the start is over.
  host.child.stdin.write('stateGet PANELVIEW.READY\n');
  await host.waitFor(/PANELVIEW\.READY=/);
  return host;
}

async function stopPanel(host) {
  host.child.stdin.end('quit\n');
  const { code } = await host.done;
  if (code !== 0) throw new Error(`panelhost ended with status ${code}`);
}

const widget = (id) => `[data-widget="${id}"]`;

function waitText(page, selector, text) {
  return page.waitForFunction(([s, t]) => {
    const element = document.querySelector(s);
    return element !== null && element.textContent === t;
  }, [selector, text], { timeout });
}

function waitAttribute(page, selector, name, value) {
  return page.waitForSelector(`${selector}[${name}="${value}"]`, { timeout });
}

async function post(page, body) {
  return page.evaluate(async (text) => {
    const response = await fetch('api/event', { method: 'POST', body: text });
    return { status: response.status, answer: await response.text() };
  }, body);
}

async function main() {
  fs.mkdirSync(path.join(work, 'bin'));
  fs.copyFileSync(driver, path.join(work, 'bin', 'libmoduledriver.so'));
  fs.cpSync(demoConfig, path.join(work, 'config'), { recursive: true });
  const simulatorPort = await freeUdpPort();

  let host = await startPanel(simulatorPort);
  const view = start('panelview', panelview, ['--config', path.join(work, 'config'), '--port', String(simulatorPort),
    '--http-port', '0', '--silence', '1500']);
  const url = (await view.waitFor(/open (http:\/\/\S+)/))[1];

  const context = await chromium.launchPersistentContext(path.join(work, 'profile'), {
    executablePath: '/usr/bin/chromium',
    headless: true,
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync'],
  });
  try {
    const first = context.pages()[0] || await context.newPage();
    const second = await context.newPage();
    await first.goto(url);
    await second.goto(url);

    // The panel as it stood before the view came up: every module with its controls by kind.
    for (const page of [first, second]) {
      await waitAttribute(page, '#status', 'data-state', 'up');
      await waitText(page, `${widget('0.1.2.1')} .text`, 'CAMERA 1');
    }
    const kinds = await first.$$eval('[data-widget]', (elements) => elements.map(
      (e) => `${e.dataset.widget}:${e.dataset.kind}`).join(' '));
    if (kinds !== '0.1.1.1:lamp 0.1.1.2:lamp 0.1.1.3:lamp 0.1.1.4:lamp 0.1.2.1:display 0.1.2.2:display '
      + '0.1.3.1:fader 0.1.3.2:lamp') {
      throw new Error(`controls drawn: ${kinds}`);
    }
    await waitAttribute(first, widget('0.1.1.1'), 'data-lit', 'true');
    await waitText(first, `${widget('0.1.1.4')} .label`, 'CAM 4');
    ok('both pages draw the three modules with lamps, displays and the fader as the panel stands');

    // A click presses and releases the key: its lamp lights, the others go out, the display follows.
    const clicked = Date.now();
    await first.click(widget('0.1.1.3'));
    await waitAttribute(first, widget('0.1.1.3'), 'data-lit', 'true');
    const lit = Date.now();
    await waitAttribute(first, widget('0.1.1.1'), 'data-lit', 'false');
    for (const page of [first, second]) await waitText(page, `${widget('0.1.2.1')} .text`, 'CAMERA 3');
    ok(`a click on CAM 3 lights its lamp and shows CAMERA 3 on both pages (lit ${lit - clicked} ms after the click)`);

    // The touch lamp follows the finger: lit while held, out after the release.
    await first.hover(widget('0.1.3.2'));
    await first.mouse.down();
    await waitAttribute(second, widget('0.1.3.2'), 'data-lit', 'true');
    await first.mouse.up();
    await waitAttribute(second, widget('0.1.3.2'), 'data-lit', 'false');
    ok('holding the fader\'s touch key lights its lamp until the release');

    await first.fill(`${widget('0.1.3.1')} input`, '75');
    await waitText(second, `${widget('0.1.2.2')} .text`, 'LEVEL 75');
    await waitText(second, `${widget('0.1.3.1')} output`, '75');
    ok('moving the fader shows LEVEL 75 on the display and the fader of the other page');

    // Bad requests are refused with a reason and change nothing.
    const refusals = [
      ['not json', 400], ['{"widget":"0.1.1.2","action":"push"}', 400],
      ['{"widget":"0.1.3.1","action":"move","value":"loud"}', 400], ['{"widget":"0.1.7.1","action":"press"}', 404],
    ];
    for (const [body, status] of refusals) {
      const answer = await post(first, body);
      if (answer.status !== status || !JSON.parse(answer.answer).error) {
        throw new Error(`${body}: ${answer.status} ${answer.answer}`);
      }
    }
    const missing = await first.evaluate(async () => (await fetch('api/nothing')).status);
    if (missing !== 404) throw new Error(`an unknown page answered ${missing}`);
    await post(first, '{"widget":"0.1.1.2","action":"press"}');
    await waitText(first, `${widget('0.1.2.1')} .text`, 'CAMERA 2');
    ok('malformed and unknown requests get 400 and 404 with a reason; the next good press still works');

    // Modules come and go with the hardware.
    host.child.stdin.write('hwUnplug 0 1 3\n');
    await first.waitForSelector('[data-module="0.1.3"]', { state: 'detached', timeout });
    host.child.stdin.write('hwPlug 0 1 3 Fader1\n');
    await first.waitForSelector(`[data-module="0.1.3"] ${widget('0.1.3.1')}`, { timeout });
    ok('an unplugged module vanishes from the page and comes back when plugged');

    // A stopped panel shows as a lost link; a new one takes its place.
    await stopPanel(host);
    for (const page of [first, second]) await waitAttribute(page, '#status', 'data-state', 'down');
    host = await startPanel(simulatorPort);
    for (const page of [first, second]) {
      await waitAttribute(page, '#status', 'data-state', 'up');
      await waitText(page, `${widget('0.1.2.1')} .text`, 'CAMERA 1');
    }
    await first.click(widget('0.1.1.4'));
    await waitText(second, `${widget('0.1.2.1')} .text`, 'CAMERA 4');
    ok('the lost link shows on the page and the restarted panel is drawn and pressed again');
  } catch (error) {
    const shot = path.join(os.tmpdir(), `panelview-failure-${process.pid}.png`);
    await context.pages()[0].screenshot({ path: shot }).catch(() => {});
    console.log(`screenshot of the first page: ${shot}`);
    throw error;
  } finally {
    await context.close();
  }
  await stopPanel(host);
  view.child.kill('SIGTERM');
  const ended = await view.done;
  if (ended.code !== 0) throw new Error(`panelview ended with ${JSON.stringify(ended)}`);
  ok('the view stops cleanly on SIGTERM');
}

main().then(() => {
  console.log(`${checks} passed, 0 failed`);
}, (error) => {
  console.log(`FAIL: ${error.message}`);
  for (const entry of processes) console.log(`--- ${entry.name} ---\n${entry.output}`);
  console.log(`${checks} passed, 1 failed`);
  process.exitCode = 1;
}).finally(() => {
  for (const entry of processes) if (!entry.exited) entry.child.kill('SIGKILL');
  fs.rmSync(work, { recursive: true, force: true });
});
