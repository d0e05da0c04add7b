// What was read, what it covers and lacks, and by which run.

import {type Events, type Facts, type Json} from './data';
import {byId, count, fill, h} from './dom';
import {plain} from './words';

interface Input {
    input: string;
    path: string;
    size: number;
    sha256?: string;
}

const kinds: {[input: string]: string} = {log: '$LogFile', mft: '$MFT', journal: 'Change journal'};
const inputsOf = (provenance: Facts): Input[] => (Array.isArray(provenance.inputs) ? (provenance.inputs as unknown as Input[]) : []);

function factText(value: Json): string {
    if (Array.isArray(value)) return value.length === 0 ? 'none' : value.map(factText).join('\n');
    if (typeof value === 'object' && value !== null)
        return 'from' in value && 'to' in value && Object.keys(value).length === 2
            ? `${factText(value.from)} to ${factText(value.to)}`
            : Object.entries(value).map(([key, inner]) => `${plain(key)} ${factText(inner)}`).join(', ');
    if (typeof value === 'boolean') return value ? 'yes' : 'no';
    if (typeof value === 'string' && /^\d{4}-\d\d-\d\dT[\d:.]+Z$/.test(value)) return value.replace('T', ' ').replace('Z', '');
    return String(value ?? '');
}

const quoted = (argument: string): string => (/^[\w@%+=:,./\\-]+$/.test(argument) ? argument : `'${argument.replaceAll("'", `'\\''`)}'`);

export function showHead(events: Events): void {
    const summaries = events.logs.map(({coverage}) => coverage.summary).filter((text): text is string => typeof text === 'string');
    byId('summary').textContent =
        summaries.length === 1 ? summaries[0] : summaries.length > 1 ? `${summaries.length} logs were read.` : 'No log was read: the events are those of a change journal.';
    const program = String(events.logs[0]?.provenance.program ?? 'kest');
    const read = events.logs.flatMap(({provenance}) => inputsOf(provenance));
    byId('inputs').textContent = `${read.slice(0, 3).map(({path}) => path).join(', ')}${read.length > 3 ? ` and ${read.length - 3} more` : ''} · ${count(events.total, 'event')} · times are UTC · ${program}`;
    const lacks = [
        events.chosenBy !== '' && `Only events chosen by ${events.chosenBy}: ${count(events.notChosen, 'other')} left out.`,
        events.ofSystem > 0 && `${count(events.ofSystem, 'event')} of the system left out (-no_system).`,
        events.leftOut > 0 && `${count(events.leftOut, 'event')} more than this page holds were left out: read them with -events -jsonl or -csv into a database.`,
        events.limits !== '' && `Not all could be shown; ${events.limits}.`,
    ];
    fill(byId('notices'), ...lacks.map((words) => words && h('p', {class: 'notice'}, words)));
    fill(byId('read'), h('h2', {}, 'What was read'), ...events.logs.map(({provenance, coverage}) => {
        const command = provenance.command_line;
        const inputs = inputsOf(provenance);
        return h('section', {},
            typeof coverage.summary === 'string' && h('p', {}, coverage.summary),
            h('div', {class: 'scroll', tabindex: 0, role: 'group', 'aria-label': 'Inputs'}, h('table', {class: 'plain'},
                h('thead', {}, h('tr', {}, ...['Input', 'File', 'Bytes', 'SHA-256'].map((text) => h('th', {scope: 'col'}, text)))),
                h('tbody', {}, ...inputs.map(({input, path, size, sha256}) =>
                    h('tr', {}, h('th', {scope: 'row'}, kinds[input] ?? input), h('td', {class: 'name'}, path), h('td', {}, count(size)),
                        h('td', {class: 'name'}, sha256 ?? 'not asked for (-provenance)')))))),
            h('dl', {},
                h('dt', {}, 'Program'), h('dd', {}, String(provenance.program ?? '')),
                h('dt', {}, 'Command line'), h('dd', {class: 'name'}, Array.isArray(command) ? command.map((word) => quoted(String(word))).join(' ') : ''),
                ...(typeof coverage.mft_fit === 'string' ? [h('dt', {}, 'MFT and log'), h('dd', {}, coverage.mft_fit)] : []),
                ...(typeof coverage.journal_fit === 'string' ? [h('dt', {}, 'Journal and log'), h('dd', {}, coverage.journal_fit)] : [])),
            h('details', {class: 'screen'}, h('summary', {}, 'All that is known of what they cover'),
                h('dl', {}, ...Object.entries(coverage).flatMap(([key, value]) => [h('dt', {}, plain(key)), h('dd', {class: 'name'}, factText(value))]))));
    }));
}
