// Makes the page: one HTML file in two halves, between which the program writes its data, as two arrays of texts for a
// C++ source. The script and the style sheet stand in it; a policy lets nothing else load or run.
//   node build.mjs FILE
import {createHash} from 'node:crypto';
import {readFileSync, writeFileSync} from 'node:fs';
import {build} from 'esbuild';

const libraries = ['tabulator-tables', 'uplot'];

async function bundle(entry) {
    const made = await build({
        entryPoints: [entry],
        bundle: true,
        minify: true,
        write: false,
        target: 'es2022',
        format: 'iife',
        charset: 'ascii',
        legalComments: 'none',
        logLevel: 'warning',
    });
    return made.outputFiles[0].text.trim().replaceAll('</', '<\\/');
}

const hash = (text) => `'sha256-${createHash('sha256').update(text).digest('base64')}'`;
const escaped = (text) => text.replaceAll('&', '&amp;').replaceAll('<', '&lt;');
const license = (name) => {
    const {version} = JSON.parse(readFileSync(`node_modules/${name}/package.json`, 'utf8'));
    return `${name} ${version}\n\n${readFileSync(`node_modules/${name}/LICENSE`, 'utf8').trim()}`;
};

const script = await bundle('src/main.ts');
const style = await bundle('src/page.css');
const policy = `default-src 'none'; script-src ${hash(script)}; style-src ${hash(style)}; base-uri 'none'; form-action 'none'`;
const parts = {
    policy,
    style,
    script,
    licenses: libraries.map((name) => `<pre>${escaped(license(name))}</pre>`).join(''),
};
const page = readFileSync('src/page.html', 'utf8').replace(/\{\{(\w+)\}\}/g, (whole, name) => parts[name] ?? whole);
const [head, tail] = page.split('{{data}}\n');

function literal(name, text) {
    const escapes = {'"': '\\"', '\\': '\\\\', '\n': '\\n', '?': '\\?'};
    const pieces = text.match(/[^]{1,4000}/g).map((piece) =>
        `"${piece.replace(/["\\\n?]/g, (c) => escapes[c]).replace(/[^ -~]/gu, (c) =>
            [...Buffer.from(c)].map((byte) => `\\${byte.toString(8).padStart(3, '0')}`).join(''))}"`);
    return `constexpr std::string_view ${name}[] = {\n${pieces.join(',\n')}};\n`;
}
writeFileSync(process.argv[2], literal('head', head) + literal('tail', tail));
