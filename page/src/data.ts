// The events as the program wrote them: columns in blocks. What fields there are, and which kinds, only the data says.

export type Json = null | boolean | number | string | Json[] | {[key: string]: Json};
export type Facts = {[key: string]: Json};
export const isFacts = (value: Json | undefined): value is Facts => typeof value === 'object' && value !== null && !Array.isArray(value);

export type ColumnKind = 'none' | 'texts' | 'numbers' | 'times' | 'truths' | 'objects';

type BlockColumn =
    | null
    | {texts: string[]; at: number[]}
    | {numbers: (number | string | null)[]}
    | {times: (number | string | null)[]}
    | {truths: (boolean | null)[]}
    | {objects: true};

// Columns with more texts than this are not asked which values they have.
const mostDistinct = 4096;

export class Column {
    kind: ColumnKind = 'none';
    ids = new Uint32Array(0); // texts: place of each row's text in `texts`; 0 is none
    texts: string[] = [''];
    numbers = new Float64Array(0); // numbers, and times in microseconds since 1970; NaN is none
    odd = new Map<number, string>(); // by row: what a double does not hold
    truths = new Uint8Array(0); // 0: none, 1: false, 2: true
    distinct = true; // each text has one place only
    private known = new Map<string, number>();
    private objects: {first: number; source: string; lines?: string[]}[] = [];

    constructor(readonly name: string, private readonly total: number) {}

    add(block: BlockColumn, first: number, source: () => string): void {
        if (block === null) return;
        if ('texts' in block) this.addTexts(block.texts, block.at, first);
        else if ('numbers' in block) this.addNumbers('numbers', block.numbers, first);
        else if ('times' in block) this.addNumbers('times', block.times, first);
        else if ('truths' in block) this.addTruths(block.truths, first);
        else {
            this.kind = 'objects';
            this.objects.push({first, source: source()});
        }
    }

    private addTexts(texts: string[], at: number[], first: number): void {
        if (this.kind === 'none') this.ids = new Uint32Array(this.total);
        this.kind = 'texts';
        const places = new Uint32Array(texts.length + 1);
        texts.forEach((text, place) => (places[place + 1] = this.placeOf(text)));
        for (let row = 0; row < at.length; ++row) this.ids[first + row] = places[at[row]];
    }

    private placeOf(text: string): number {
        const known = this.distinct ? this.known.get(text) : undefined;
        if (known !== undefined) return known;
        const place = this.texts.push(text) - 1;
        if (this.distinct) this.known.set(text, place);
        if (this.known.size > mostDistinct) {
            this.distinct = false;
            this.known.clear();
        }
        return place;
    }

    private addNumbers(kind: ColumnKind, values: (number | string | null)[], first: number): void {
        if (this.kind === 'none') this.numbers = new Float64Array(this.total).fill(NaN);
        this.kind = kind;
        for (let row = 0; row < values.length; ++row) {
            const value = values[row];
            if (value === null) continue;
            if (typeof value === 'string') this.odd.set(first + row, value);
            this.numbers[first + row] = typeof value === 'number' ? value : kind === 'times' ? Date.parse(value) * 1000 : Number(value);
        }
    }

    private addTruths(values: (boolean | null)[], first: number): void {
        if (this.kind === 'none') this.truths = new Uint8Array(this.total);
        this.kind = 'truths';
        values.forEach((value, row) => (this.truths[first + row] = value === null ? 0 : value ? 2 : 1));
    }

    has(row: number): boolean {
        switch (this.kind) {
            case 'texts':
                return this.ids[row] !== 0;
            case 'numbers':
            case 'times':
                return !Number.isNaN(this.numbers[row]) || this.odd.has(row);
            case 'truths':
                return this.truths[row] !== 0;
            case 'objects':
                return this.objectText(row) !== '';
            default:
                return false;
        }
    }

    // JSON as it stands; empty if there is none.
    objectText(row: number): string {
        const block = this.objects.findLast((candidate) => candidate.first <= row);
        if (!block) return '';
        block.lines ??= block.source.split('\n');
        const line = block.lines[row - block.first + 1] ?? '';
        return line === 'null' || line === 'null,' || !line.startsWith('{') ? '' : line.replace(/,$/, '');
    }

    // As text that people read; empty if there is none.
    text(row: number): string {
        switch (this.kind) {
            case 'texts':
                return this.texts[this.ids[row]];
            case 'numbers':
                return this.odd.get(row) ?? (Number.isNaN(this.numbers[row]) ? '' : String(this.numbers[row]));
            case 'times':
                return this.odd.get(row) ?? (Number.isNaN(this.numbers[row]) ? '' : timeText(this.numbers[row]));
            case 'truths':
                return this.truths[row] === 0 ? '' : this.truths[row] === 2 ? 'yes' : 'no';
            case 'objects':
                return this.objectText(row);
            default:
                return '';
        }
    }

    // As the program's JSON has it; empty if there is none.
    json(row: number): string {
        if (!this.has(row)) return '';
        if (this.kind === 'numbers') return this.text(row);
        if (this.kind === 'truths') return this.truths[row] === 2 ? 'true' : 'false';
        if (this.kind === 'objects') return this.objectText(row);
        return JSON.stringify(this.kind === 'times' ? this.odd.get(row) ?? isoText(this.numbers[row]) : this.text(row));
    }
}

const two = (value: number): string => String(value).padStart(2, '0');

// Microseconds since 1970 as "2026-03-16 08:41:05.003125".
export function timeText(microseconds: number): string {
    return isoText(microseconds).replace('T', ' ').replace('Z', '');
}

export function isoText(microseconds: number): string {
    const seconds = Math.floor(microseconds / 1e6);
    const date = new Date(seconds * 1000);
    if (Number.isNaN(date.getTime())) return '';
    const day = `${String(date.getUTCFullYear()).padStart(4, '0')}-${two(date.getUTCMonth() + 1)}-${two(date.getUTCDate())}`;
    const fraction = String(microseconds - seconds * 1e6).padStart(6, '0');
    return `${day}T${two(date.getUTCHours())}:${two(date.getUTCMinutes())}:${two(date.getUTCSeconds())}.${fraction}Z`;
}

export interface LogHead {
    provenance: Facts;
    coverage: Facts;
}

export class Events {
    readonly logs: LogHead[] = [];
    readonly columns: Column[] = [];
    readonly total: number;
    readonly leftOut: number;
    readonly limits: string;
    readonly chosenBy: string;
    readonly notChosen: number;
    readonly ofSystem: number;
    private readonly byName = new Map<string, Column>();

    constructor(root: Document) {
        const holding = (what: string) => [...root.querySelectorAll<HTMLScriptElement>(`script[data-kest="${what}"]`)];
        const end = holding('end').map((element) => JSON.parse(element.textContent ?? '') as Facts)[0];
        this.total = Number(end?.events ?? 0);
        this.leftOut = Number(end?.left_out ?? 0);
        this.limits = String(end?.limits ?? '');
        this.chosenBy = String(end?.chosen_by ?? '');
        this.notChosen = Number(end?.not_chosen ?? 0);
        this.ofSystem = Number(end?.of_system ?? 0);
        for (const element of holding('log')) {
            const lines = (element.textContent ?? '').split('\n').filter((line) => line !== '');
            const [first, coverage] = lines.map((line) => JSON.parse(line) as Facts);
            this.logs.push({provenance: (first?.provenance ?? {}) as Facts, coverage: coverage ?? {}});
        }
        for (const element of holding('fields').slice(0, 1))
            for (const name of JSON.parse(element.textContent ?? '') as string[]) this.columns.push(new Column(name, this.total));
        for (const column of this.columns) this.byName.set(column.name, column);
        let first = 0;
        for (const element of holding('events')) {
            const block = JSON.parse(element.textContent ?? '') as {rows: number; columns: BlockColumn[]};
            const objects = () => {
                const next = element.nextElementSibling as HTMLScriptElement | null;
                return next?.dataset.kest === 'objects' ? next.textContent ?? '' : '';
            };
            block.columns.forEach((column, place) => this.columns[place]?.add(column, first, objects));
            first += block.rows;
        }
        for (const element of root.querySelectorAll('script[data-kest]')) element.remove(); // its text is taken
    }

    column(name: string): Column {
        return this.byName.get(name) ?? new Column(name, 0);
    }
    text(name: string, row: number): string {
        return this.byName.get(name)?.text(row) ?? '';
    }
    number(name: string, row: number): number {
        return this.byName.get(name)?.numbers[row] ?? NaN;
    }
    object(name: string, row: number): Facts {
        const text = this.byName.get(name)?.objectText(row) ?? '';
        return text === '' ? {} : (JSON.parse(text) as Facts);
    }

    // Whether the event has a time of its own. Otherwise it lies between `time` and `not_after`, or after `time`.
    private readonly openClocks = new Map<string, boolean>();
    isExact(row: number): boolean {
        const clock = this.text('clock', row);
        let open = this.openClocks.get(clock);
        if (open === undefined) {
            open = clock.startsWith('not_');
            this.openClocks.set(clock, open);
        }
        return !open && Number.isNaN(this.number('not_after', row));
    }
    // Where it stands on the axis: an event without a beginning counts where it ends.
    moment(row: number): number {
        const time = this.number('time', row);
        return Number.isNaN(time) ? this.number('not_after', row) : time;
    }
    // When, in words.
    when(row: number): string {
        const from = this.text('time', row);
        const to = this.text('not_after', row);
        if (this.isExact(row)) return from || 'unknown';
        if (from === '') return to === '' ? 'unknown' : `not after ${to}`;
        if (to === '') return `not before ${from}`;
        return `${from} to ${to.startsWith(from.slice(0, 11)) ? to.slice(11) : to}`;
    }
}
