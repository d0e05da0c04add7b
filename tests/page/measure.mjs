// Prints how long a page takes to open, and to filter, in milliseconds: medians of five.
import {createRequire} from 'node:module';

const {chromium} = createRequire(new URL('../../page/package.json', import.meta.url))('playwright-core');
const browser = await chromium.launch({executablePath: process.env.BROWSER, args: ['--no-sandbox']});
const median = (values) => values.sort((a, b) => a - b)[2];
const opened = [], filtered = [];
let events = '';
for (const words of ['report', '1', 'zzz', 'event:created', 'a e -0']) {
    const page = await browser.newPage({viewport: {width: 1280, height: 900}});
    const begin = performance.now();
    await page.goto(`file://${process.argv[2]}`);
    await page.waitForSelector('.tabulator-row');
    await page.evaluate(() => new Promise(requestAnimationFrame));
    opened.push(performance.now() - begin);
    await page.waitForSelector('#table[data-shown]');
    await page.waitForTimeout(500);
    events = (await page.locator('#chosen').textContent()).replace(/.* of /, '');
    filtered.push(await page.evaluate(async (text) => {
        const begun = performance.now();
        const shown = new Promise((done) => new MutationObserver(() => requestAnimationFrame(() => setTimeout(done)))
            .observe(document.getElementById('table'), {attributeFilter: ['data-shown']}));
        const box = document.getElementById('words');
        box.value = text;
        box.dispatchEvent(new Event('input'));
        await shown;
        return performance.now() - begun;
    }, words));
    await page.close();
}
await browser.close();
console.log(`ms to open a page of ${events}\t5000\t${Math.round(median(opened))}`);
console.log(`ms to filter it, 40 of them a pause\t250\t${Math.round(median(filtered))}`);
