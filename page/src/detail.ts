// One event: what happened, what proves it, and what else happened to the same file and in the same folder.

import {type Events, type Facts, isFacts, type Json} from './data';
import {announce, button, count, fill, h, name} from './dom';
import {type Marks} from './marks';
import {plain, stateWords, title} from './words';

const mostListed = 300;
const aroundFolder = 10 * 60 * 1e6; // microseconds

function valueText(value: Json | undefined): string {
    if (value === undefined || value === null) return '';
    if (Array.isArray(value)) return value.map(valueText).join('\n');
    if (typeof value === 'object') return Object.entries(value).map(([key, inner]) => `${plain(key)} ${valueText(inner)}`).join(', ');
    if (typeof value === 'string' && /^\d{4}-\d\d-\d\dT[\d:.]+Z$/.test(value)) return value.replace('T', ' ').replace('Z', '');
    return String(value);
}

export function changes(details: Facts): HTMLElement | false {
    const before = isFacts(details.before) ? details.before : {};
    const after = isFacts(details.after) ? details.after : {};
    const keys = [...new Set([...Object.keys(before), ...Object.keys(after)])];
    const rest = Object.entries(details).filter(([key]) => key !== 'before' && key !== 'after');
    if (keys.length + rest.length === 0) return false;
    const cells = (key: string) => {
        const [one, two] = [valueText(before[key]), valueText(after[key])];
        const differs = one !== '' && two !== '' && one !== two;
        return h('tr', {}, h('th', {scope: 'row'}, plain(key)), h('td', {}, one || '–'), h('td', {class: differs ? 'differs' : undefined}, two || '–'));
    };
    const head = h('tr', {}, h('td'), h('th', {scope: 'col'}, 'Before'), h('th', {scope: 'col'}, 'After'));
    return h('div', {},
        keys.length > 0 && h('table', {class: 'plain sides-table'}, h('thead', {}, head), h('tbody', {}, ...keys.map(cells))),
        rest.length > 0 && h('dl', {}, ...rest.flatMap(([key, value]) => [h('dt', {}, plain(key)), h('dd', {}, valueText(value))])));
}

export function proofText(events: Events, row: number): string {
    const offset = events.text('offset', row);
    const lsn = events.text('lsn', row);
    const hex = offset === '' ? '' : ` (0x${BigInt(offset).toString(16).toUpperCase()})`;
    return [events.text('file', row), offset !== '' && `offset ${offset}${hex}`, lsn !== '' && `LSN ${lsn}`].filter(Boolean).join(', ');
}

// What happened, in one line.
export function sentence(events: Events, row: number): string {
    const old = events.text('old_path', row);
    const path = events.text('path', row);
    const state = events.text('state', row);
    const names = path === '' ? '' : `: ${old === '' ? '' : `${old} → `}${path}`;
    return `${plain(events.text('event', row))}${names}${state === '' || state === 'done' ? '' : ` (${state})`}`;
}

export async function copy(text: string): Promise<void> {
    try {
        await navigator.clipboard.writeText(text);
    } catch {
        const field = h('textarea', {class: 'unseen', value: text});
        document.body.append(field);
        field.select();
        document.execCommand('copy');
        field.remove();
    }
    announce('Copied');
}

export class Detail {
    constructor(
        private readonly host: HTMLElement,
        private readonly events: Events,
        private readonly marks: Marks,
        private readonly open: (row: number) => void,
        private readonly close: () => void,
    ) {}

    show(row: number): void {
        if (row < 0) {
            this.host.replaceChildren(h('p', {class: 'quiet'}, 'Choose an event to see all that is known of it.'));
            return;
        }
        const {events} = this;
        const field = (of: string) => events.text(of, row);
        const mark = this.marks.of(row);
        const state = field('state');
        const ofFile = field('path') !== '' || field('inode') !== '';
        const star = button(mark.star ? '★ Marked' : '☆ Mark', () => this.marks.set(row, {star: !this.marks.of(row).star}), {'aria-pressed': String(mark.star), id: 'star'});
        const note = h('textarea', {id: 'note', rows: 2, value: mark.note, oninput: (event: Event) => this.marks.set(row, {note: (event.target as HTMLTextAreaElement).value})});
        const proof = proofText(events, row);
        const full = `${events.when(row)} UTC, ${sentence(events, row)}\n${proof}`;
        const all = events.columns.filter((column) => column.kind !== 'objects' && column.has(row));
        const changed = changes(events.object('details', row));
        fill(
            this.host,
            h('div', {class: 'bar'}, h('h2', {}, plain(field('event'))), h('div', {class: 'tools'}, star, button('Close', this.close))),
            field('old_path') !== '' && h('p', {}, h('span', {class: 'quiet'}, 'from '), name(field('old_path'))),
            field('path') === '' ? h('p', {class: 'quiet'}, 'This event is of no file.') : h('p', {}, field('old_path') !== '' && h('span', {class: 'quiet'}, 'to '), name(field('path'), 'name strong')),
            h('dl', {},
                h('dt', {}, 'When (UTC)'), h('dd', {}, h('span', {class: events.isExact(row) ? 'time' : 'time open'}, events.when(row))),
                ...(field('timestamp_desc') !== '' ? [h('dt', {}, 'It rests on'), h('dd', {}, field('timestamp_desc'))] : []),
                ...(state !== '' ? [h('dt', {}, 'State'), h('dd', {}, stateWords(state))] : [])),
            changed && h('h3', {}, 'What changed'), changed,
            h('h3', {}, 'What proves it'),
            h('p', {class: 'proof'}, h('code', {id: 'proof'}, proof), ' ', button('Copy', () => void copy(full))),
            h('label', {for: 'note', class: 'label'}, 'Your note'), note,
            ...(ofFile ? [h('h3', {}, 'Life of this file'), this.life(row), h('h3', {}, 'In its folder, ten minutes around'), this.around(row)] : []),
            h('details', {}, h('summary', {}, 'All fields'),
                h('dl', {}, ...all.flatMap((column) => [h('dt', {}, title(column.name)), h('dd', {class: 'name'}, column.text(row))]))),
        );
    }

    private list(rows: number[], row: number, none: string): HTMLElement {
        if (rows.length === 0) return h('p', {class: 'quiet'}, none);
        const at = Math.max(0, Math.min(rows.indexOf(row) - mostListed / 2, rows.length - mostListed));
        const shown = rows.slice(at, at + mostListed);
        return h('div', {},
            shown.length < rows.length && h('p', {class: 'quiet'}, `${count(shown.length)} of ${count(rows.length)} are shown.`),
            h('ol', {class: 'events'}, ...shown.map((other) => eventItem(this.events, other, this.open, other === row))));
    }

    // Every event of the same reference, whatever the file was called.
    private life(row: number): HTMLElement {
        const [inodes, seqs, volumes] = ['inode', 'seq', 'volume'].map((name) => this.events.column(name));
        const rows: number[] = [];
        const volume = volumes.text(row);
        if (inodes.kind === 'numbers')
            for (let other = 0; other < this.events.total; ++other)
                if (inodes.numbers[other] === inodes.numbers[row] && Object.is(seqs.numbers[other], seqs.numbers[row]) && volumes.text(other) === volume) rows.push(other);
        return this.list(rows, row, 'Its file record is not known.');
    }

    private around(row: number): HTMLElement {
        const [parents, seqs, times, volumes] = ['parent', 'parent_seq', 'time', 'volume'].map((name) => this.events.column(name));
        const rows: number[] = [];
        if (parents.kind === 'numbers' && !Number.isNaN(parents.numbers[row]))
            for (let other = 0; other < this.events.total; ++other)
                if (parents.numbers[other] === parents.numbers[row] && Object.is(seqs.numbers[other], seqs.numbers[row]) &&
                    Math.abs(times.numbers[other] - times.numbers[row]) <= aroundFolder && volumes.text(other) === volumes.text(row)) rows.push(other);
        return this.list(rows, row, 'Its folder is not known.');
    }
}

export function eventItem(events: Events, row: number, open: (row: number) => void, current = false): HTMLElement {
    return h('li', {},
        h('button', {type: 'button', class: 'event', onclick: () => open(row), 'aria-current': current ? 'true' : undefined},
            h('span', {class: events.isExact(row) ? 'time' : 'time open'}, events.when(row)), ' ',
            h('b', {}, plain(events.text('event', row))), ' ',
            events.text('old_path', row) !== '' && name(`${events.text('old_path', row)} → `),
            name(events.text('path', row))));
}
