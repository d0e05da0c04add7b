// Pages of -page in a real browser, against what -events -jsonl says of the same evidence.
import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {createRequire} from 'node:module';
import {tmpdir} from 'node:os';
import {join, resolve} from 'node:path';
import {after, before, test} from 'node:test';

const require = createRequire(new URL('../../page/package.json', import.meta.url));
const {chromium} = require('playwright-core');
const {KEST, BROWSER, ACCEPT} = process.env;
const samples = resolve('../../samples');
const work = mkdtempSync(join(tmpdir(), 'kest-page-'));
const forServers = ['datetime', 'timestamp', 'message'];
let browser, events, sample;

const kest = (...args) => execFileSync(KEST, [...args, '-quiet'], {cwd: samples, encoding: 'utf8'});
const linesOf = (text) => text.trim().split('\n').map((line) => JSON.parse(line));
const logged = (...args) => linesOf(kest(...args, '-events', '-jsonl')).map((event) =>
    Object.fromEntries(Object.entries(event).filter(([name]) => !forServers.includes(name))));

// A page of its own profile; whatever it says on its console and asks of a network is a fault.
async function open(file, {width = 1280, height = 900, colorScheme = 'light', hash = '', ...more} = {}) {
    const page = await browser.newPage({viewport: {width, height}, colorScheme, reducedMotion: 'reduce', ...more});
    page.faults = [];
    page.on('console', (message) => page.faults.push(message.text()));
    page.on('pageerror', (error) => page.faults.push(error.message));
    page.on('dialog', (dialog) => page.faults.push(dialog.message()));
    page.on('request', (request) => /^(file|blob):/.test(request.url()) || page.faults.push(request.url()));
    await page.goto(`file://${file}${hash}`);
    await page.waitForSelector('#table[data-shown]');
    return page;
}
async function done(page) {
    assert.deepEqual(page.faults, []);
    await page.close();
}
const shown = async (page, wanted) => {
    await page.waitForFunction((count) => document.getElementById('chosen').textContent.startsWith(`${count} of`), wanted);
};
const rows = (page, selector = '.name') => page.locator(`.tabulator-row`).evaluateAll((found, part) => found.map((row) => row.querySelector(part)?.textContent), selector);
async function saved(page, label) {
    const [file] = await Promise.all([page.waitForEvent('download'), page.getByRole('button', {name: label, exact: true}).click()]);
    return readFileSync(await file.path(), 'utf8');
}

before(async () => {
    const inputs = ['-log', 'LogFile', '-mftfile', 'MFT', '-jrnlfile', 'UsnJrnl_J'];
    sample = join(work, 'sample.html');
    for (let run = 0; run < 2; ++run) kest(...inputs, '-page', sample, '-provenance');  // a page may be replaced
    events = logged(...inputs);
    browser = await chromium.launch({executablePath: BROWSER, args: ['--no-sandbox']});
});
after(async () => {
    await browser?.close();
    rmSync(work, {recursive: true});
});

test('the table and what it saves are the events of the log', async () => {
    const page = await open(sample);
    await shown(page, events.length);
    assert.deepEqual(await rows(page), events.map(({path}) => path));
    assert.deepEqual(linesOf(await saved(page, 'Save as JSON')), events);
    const [head, ...cells] = (await saved(page, 'Save as CSV')).split('\r\n');
    assert.equal(cells.length - 1, events.length);
    assert.ok(head.startsWith('time,'));
    await page.getByRole('button', {name: 'Path', exact: true}).click();
    await page.waitForSelector('[aria-sort="ascending"]');
    assert.deepEqual(await rows(page), events.map(({path}) => path).sort((a, b) => (a < b ? -1 : a > b ? 1 : 0)));
    await done(page);
});

test('the head says what was chosen', async () => {
    const file = join(work, 'chosen.html');
    kest('-log', 'LogFile', '-mftfile', 'MFT', '-jrnlfile', 'UsnJrnl_J', '-page', file, '-path', '<b>*', '-event', 'deleted', '-not_path', 'a b');
    const page = await open(file);
    assert.equal(await page.locator('#notices').textContent(), `Only events chosen by -path <b>* -event deleted -not_path 'a b': ${events.length} others left out.`);
    await done(page);
});

test('the picture over time counts the events of the log', async () => {
    const page = await open(sample);
    await page.getByText('The same as a table').click();
    await page.locator('#chart-table tbody tr').first().waitFor();
    const bars = await page.locator('#chart-table tbody tr').evaluateAll((found) => found.map((row) => [...row.cells].map(({textContent}) => textContent)));
    assert.equal(bars.reduce((sum, [, count]) => sum + Number(count), 0), events.length);
    const kinds = {};
    for (const [, , words] of bars)
        for (const [, kind, count] of words.matchAll(/([a-z ]+?) (\d+)(?:, |$)/g)) kinds[kind] = (kinds[kind] ?? 0) + Number(count);
    const expected = {};
    for (const {event} of events) expected[event.replaceAll('_', ' ')] = (expected[event.replaceAll('_', ' ')] ?? 0) + 1;
    assert.deepEqual(kinds, expected);
    await done(page);
});

test('words, expressions, chips and spans choose, and stand in the address', async () => {
    const page = await open(sample);
    const deleted = events.filter(({event}) => event === 'deleted');
    const cases = [
        ['event:deleted', deleted.length],
        ['customers -event:deleted', events.filter((event) => JSON.stringify({...event, details: 0}).includes('customers') && event.event !== 'deleted').length],
        [`inode:${deleted[0].inode}`, events.filter(({inode}) => inode === deleted[0].inode).length],
    ];
    for (const [words, count] of cases) {
        await page.fill('#words', words);
        await shown(page, count);
    }
    await page.check('#regex');
    await page.fill('#words', '\\.(zip|csv)$');
    await page.selectOption('#field', 'path');
    const packed = events.filter(({path}) => /\.(zip|csv)$/i.test(path));
    await shown(page, packed.length);
    await page.fill('#words', '(');
    await page.waitForSelector('#problem:not(:empty)');
    await page.getByRole('button', {name: 'Choose all'}).click();
    await page.locator('[data-chip="event deleted"]').click();
    await shown(page, deleted.length);
    assert.equal(await page.locator('[data-chip="event created"] .number').textContent(), String(events.filter(({event}) => event === 'created').length));
    await page.reload();
    await shown(page, deleted.length);
    await page.getByRole('button', {name: 'Choose all'}).click();

    const over = await page.locator('.u-over').boundingBox();
    await page.mouse.move(over.x + over.width * 0.7, over.y + 20);
    await page.mouse.down();
    await page.mouse.move(over.x + over.width * 0.99, over.y + 30, {steps: 5});
    await page.mouse.up();
    await page.waitForSelector('#span:not([hidden])');
    const span = new URLSearchParams(new URL(page.url()).hash.slice(1));
    await shown(page, events.filter(({time}) => time >= span.get('from') && time <= span.get('to')).length);
    await page.mouse.wheel(0, -300);
    await page.waitForFunction(() => location.hash.includes('zoom='));
    const address = page.url();
    const [other, count] = [await open(sample, {hash: new URL(address).hash}), await page.locator('#chosen').textContent()];
    await shown(other, count.split(' ')[0]);
    assert.equal(other.url(), address);
    await done(other);
    await done(page);
});

test('intervals are in every span that they touch; kinds are those of the data', async () => {
    const file = join(work, 'intervals.html');
    const at = events.findIndex(({clock}) => clock === 'not_before');
    const from = Date.parse(`${events[at].time.slice(0, 19)}Z`) + 1000;
    writeFileSync(file, readFileSync(sample, 'utf8').replace(/(data-kest="events">)(.*)(<\/script>)/, (_, begin, json, end) => {
        const block = JSON.parse(json);
        const columns = Object.fromEntries(JSON.parse(/data-kest="fields">(.*)<\/script>/.exec(readFileSync(sample, 'utf8'))[1]).map((name, place) => [name, place]));
        block.columns[columns.not_after] = {times: events.map((_, row) => (row === at ? (from + 60_000) * 1000 : null))};
        const kinds = block.columns[columns.event].texts;
        kinds[kinds.indexOf('object_id_set')] = 'mounted';
        return begin + JSON.stringify(block).replaceAll('<', '\\u003c') + end;
    }));
    const iso = (ms) => new Date(ms).toISOString();
    const page = await open(file, {hash: `#from=${iso(from + 20_000)}&to=${iso(from + 30_000)}`});
    const within = events.filter(({time}, row) => row === at || (time >= iso(from + 20_000) && time <= iso(from + 30_000)));
    await shown(page, within.length);
    assert.match(await page.locator('.tabulator-row .time.open').textContent(), / to \d\d:/);
    await page.getByRole('button', {name: 'Choose all'}).click();
    await page.locator('[data-chip="event mounted"]').click();
    await shown(page, events.filter(({event}) => event === 'object_id_set').length);
    await done(page);
});

test('one event shows its fields, its proof and the life of its file', async () => {
    const at = events.findIndex(({event}) => event === 'times_set');
    const {inode, seq, offset, lsn, details} = events[at];
    const page = await open(sample, {hash: `#event=${at + 1}`});
    assert.match(await page.locator('#proof').textContent(), new RegExp(`offset ${offset} .*LSN ${lsn}$`));
    const [created] = await page.locator('.sides-table tr', {hasText: 'created'}).locator('td').allTextContents();
    assert.equal(created, details.before.created.replace('T', ' ').replace('Z', ''));
    const life = page.locator('ol.events').first().locator('li');
    const own = events.filter((event) => event.inode === inode && event.seq === seq);
    assert.deepEqual(await life.locator('b').allTextContents(), own.map(({event}) => event.replaceAll('_', ' ')));
    await life.first().getByRole('button').click();
    assert.match(page.url(), new RegExp(`event=${events.indexOf(own[0]) + 1}$`));
    await page.getByRole('button', {name: 'Worth a look'}).click();
    assert.match(await page.locator('#view-look').textContent(), /Times that a program set: 1/);
    await page.getByRole('button', {name: 'What was read'}).click();
    assert.match(await page.locator('#read').textContent(), /[0-9a-f]{64}/);
    await done(page);
});

test('marks and notes are kept, saved, read and printed', async () => {
    const page = await open(sample, {hash: '#event=3'});
    await page.locator('#star').click();
    await page.fill('#note', 'seen <b>first</b>');
    await page.locator('#words').focus();
    await page.reload();
    assert.equal(await page.inputValue('#note'), 'seen <b>first</b>');
    await page.locator('[data-view="marked"]').click();
    const marks = await saved(page, 'Save marks');
    await page.getByRole('button', {name: 'Unmark'}).click();
    assert.equal(await page.locator('article.marked').count(), 0);
    const read = (text) => page.locator('input[type=file]').setInputFiles({name: 'marks.json', mimeType: 'application/json', buffer: Buffer.from(text)});
    for (const [text, said] of [['null', 'no file'], ['[1]', 'no file'], ['{"kest_marks":1,"marks":{"a":null,"__proto__":{"star":true}}}', '2 of the marks']]) {
        await read(text);
        await page.waitForFunction((words) => document.getElementById('marks-said').textContent.includes(words), said);
    }
    const other = marks.replace('seen <b>first</b>', 'seen again');
    for (const text of [marks, other, marks]) {
        await page.evaluate(() => (document.getElementById('marks-said').textContent = ''));
        await read(text);
        await page.waitForSelector('#marks-said:not(:empty)');
    }
    assert.equal(await page.locator('article.marked .note').innerText(), 'seen <b>first</b>\nseen again');
    await page.emulateMedia({media: 'print'});
    const paper = await page.locator('body').innerText();
    for (const part of ['seen <b>first</b>', events[2].path, `offset ${events[2].offset} `, 'LogFile']) assert.ok(paper.includes(part), part);
    assert.ok(!paper.includes(events[9].path));
    await done(page);
});

test('all can be done by keys', async () => {
    const page = await open(sample);
    const press = async (...keys) => {
        for (const key of keys) await page.keyboard.press(key);
    };
    await press('/');
    await page.keyboard.type('event:deleted');
    await shown(page, events.filter(({event}) => event === 'deleted').length);
    await press('Escape', 'j', 'ArrowDown', 'm', 'n');
    await page.keyboard.type('by keys');
    await press('Escape', '3');
    const second = events.filter(({event}) => event === 'deleted')[1];
    assert.match(await page.locator('article.marked').innerText(), new RegExp(`${second.path.split('\\').pop()}[^]*by keys`));
    await press('1', 'Escape', 'Escape');
    await shown(page, events.length);
    await page.locator('#chart').focus();
    await press('ArrowRight', '+');
    await page.waitForFunction(() => location.hash.includes('zoom='));
    await press('0', 'ArrowLeft', 'Enter');
    await page.waitForSelector('#span:not([hidden])');
    await done(page);
});

test('it can be read by all, on all screens', async () => {
    for (const colorScheme of ['light', 'dark'])
        for (const width of [1280, 390]) {
            const page = await open(sample, {colorScheme, width, bypassCSP: true, hash: '#event=12'});
            await page.evaluate(readFileSync(require.resolve('axe-core/axe.min.js'), 'utf8'));
            for (const view of ['events', 'look', 'marked', 'read']) {
                await page.locator(`[data-view="${view}"]`).click();
                const {violations} = await page.evaluate(() => axe.run());
                assert.deepEqual(violations.map(({id, nodes}) => [id, nodes.map(({html}) => html.slice(0, 200))]), [], `${colorScheme} ${width} ${view}`);
                assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), `${width} ${view} is too wide`);
            }
            await done(page);
        }
    if (!ACCEPT) return;
    const page = await open(sample, {height: 1270, hash: `#event=${events.findIndex(({event}) => event === 'times_set') + 1}`});
    await page.screenshot({path: '../../docs/page.png'});
    await done(page);
});

const times = [0n, 1n, 100_000_000_000_000_000n, 0x7fff_ffff_ffff_ffffn, 0x7fff_35f4_f06c_7fffn, 441_481_536_000_000_000n];

// Records of a change journal, version 2; the times are those of the last.
function journal(names, last = times) {
    const records = names.map((name, at) => {
        const record = Buffer.alloc((60 + 2 * name.length + 7) & ~7);
        record.writeUInt32LE(record.length, 0);
        record.writeUInt16LE(2, 4);
        record.writeBigUInt64LE((1n << 48n) | BigInt(at + 64), 8);
        record.writeBigUInt64LE((5n << 48n) | 5n, 16);
        record.writeBigUInt64LE(last[at + last.length - names.length] ?? 133_500_000_000_000_000n + BigInt(at), 32);
        record.writeUInt32LE(0x100, 40);
        record.writeUInt32LE(0x20, 52);
        record.writeUInt16LE(2 * name.length, 56);
        record.writeUInt16LE(60, 58);
        for (let unit = 0; unit < name.length; ++unit) record.writeUInt16LE(name.charCodeAt(unit), 60 + 2 * unit);
        return record;
    });
    const pages = [];
    for (let page = Buffer.alloc(0); records.length; ) {
        const record = records.shift();
        if (page.length + record.length > 4096) page = Buffer.alloc(0), pages.push(page);
        if (!pages.length) pages.push(page);
        record.writeBigUInt64LE(BigInt((pages.length - 1) * 4096 + page.length), 24);
        pages[pages.length - 1] = page = Buffer.concat([page, record]);
    }
    return Buffer.concat(pages.map((page) => Buffer.concat([page, Buffer.alloc(4096 - page.length)])));
}

test('a clock that was set back is an event of no file, and stands on the axis', async () => {
    const [evidence, made] = [join(work, 'J'), join(work, 'back.html')];
    writeFileSync(evidence, journal(['first', 'second'], [133_500_000_600_000_000n, 133_500_000_000_000_000n]));
    kest('-jrnlfile', evidence, '-page', made);
    const expected = logged('-jrnlfile', evidence);
    const at = expected.findIndex(({event}) => event === 'clock_set_back');
    const page = await open(made, {hash: `#event=${at + 1}`});
    assert.deepEqual(linesOf(await saved(page, 'Save as JSON')), expected);
    const detail = await page.locator('#detail').innerText();
    assert.match(detail, /This event is of no file/);
    assert.doesNotMatch(detail, /Life of this file/);
    await page.getByRole('button', {name: 'Worth a look'}).click();
    assert.match(await page.locator('#view-look').textContent(), /Clock set back: 1/);
    await done(page);
});

test('nothing but its own script runs, and nothing loads', async () => {
    const page = await open(sample);
    const refused = await page.evaluate(async () => {
        const acts = [() => (document.body.innerHTML = '<b>x</b>'), () => (document.createElement('script').text = '1'), () => fetch('https://localhost/'), () => new Worker('data:,')];
        return Promise.all(acts.map(async (act) => act()).map((tried) => tried.then(() => 'done', () => 'refused')));
    });
    assert.deepEqual(refused, ['refused', 'refused', 'refused', 'refused']);
    await page.close();
});

test('names are names, whatever they hold', async () => {
    const names = ['</script><script>alert(1)</script>', '<img src=x onerror=alert(1)>', '-->', '<!--<script>', ']]>', '&lt;b&gt;&amp;',
        'a\u2028b\u2029c', '\ud800x', 'y\udc00', '\u202egpj.exe', 'n\0ul', 'esc\x1b[31m', 'line\nend\r', '__proto__', 'constructor', '=1+1', '"quoted"',
        "'; alert(1); '", '\\u003c/script', '{{data}}', '${alert(1)}', 'blank  blank ', 'zero\u200bwidth', '\ufeffmark', '\u05d0\u05d1\u05d2.txt',
        'style=position:fixed', 'javascript:alert(1)', '😀'.repeat(100), 'x'.repeat(255), 'same', 'same'];
    const folder = join(work, '</script><script>alert(1)</script>');  // the operator's paths stand in the page, too
    mkdirSync(folder, {recursive: true});
    const [evidence, made] = [join(folder, 'J'), join(work, 'hostile.html')];
    writeFileSync(evidence, journal(names));
    kest('-jrnlfile', evidence, '-page', made);
    const expected = logged('-jrnlfile', evidence);
    assert.equal(expected.length, names.length);
    const page = await open(made);
    assert.deepEqual(await rows(page), expected.map(({path}) => path));
    assert.deepEqual(linesOf(await saved(page, 'Save as JSON')), expected);
    assert.equal(await page.locator('script, img').count(), 1);
    for (let row = 0; row < expected.length; ++row) {
        await page.evaluate((at) => (location.hash = `#event=${at}`), row + 1);
        await page.waitForFunction((path) => document.querySelector('#detail .strong')?.textContent === path, expected[row].path);
    }
    await done(page);
});
