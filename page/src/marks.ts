// Marks and notes of whoever reads the page. The browser keeps them for the case; a file takes them elsewhere.

import {type Events, isFacts, type Json} from './data';

export interface Mark {
    star: boolean;
    note: string;
}

// Of several logs each has its own: their events may have all else in common.
const identifying = ['source', 'lsn', 'offset', 'event', 'inode', 'seq', 'path', 'old_path'];

// What is said of an event once more is added: no note replaces another.
function together(known: Mark | undefined, more: Json): Mark {
    const {star, note} = isFacts(more) ? more : {};
    const notes = [known?.note ?? '', typeof note === 'string' ? note : ''].filter((text) => text !== '');
    return {star: known?.star === true || star === true, note: notes[1] === undefined || notes[0].includes(notes[1]) ? notes[0] ?? '' : notes.join('\n')};
}

function hash(text: string): string {
    let value = 0xcbf29ce484222325n;
    for (let at = 0; at < text.length; ++at) value = BigInt.asUintN(64, (value ^ BigInt(text.charCodeAt(at))) * 0x100000001b3n);
    return value.toString(16).padStart(16, '0');
}

export class Marks {
    readonly caseKey: string;
    kept = true; // by the browser
    private byKey = new Map<string, Mark>();
    private byRow = new Map<number, Mark>();
    unknown = 0; // marks of events that are not in this page

    constructor(private readonly events: Events, private readonly onchange: (row: number) => void) {
        // The same evidence is the same case, wherever it lay and whether or not its sums were asked for.
        const facts = events.logs.map(({provenance, coverage}) => [
            ((provenance.inputs ?? []) as {input?: string; size?: number}[]).map(({input, size}) => [input, size]),
            coverage.lsns, coverage.usns, coverage.times_by_record, coverage.journal_usns,
        ]);
        this.caseKey = `kest ${hash(JSON.stringify(facts))}`;
        try {
            this.take(JSON.parse(localStorage.getItem(this.caseKey) ?? '{}') as Json);
        } catch {
            this.kept = false;
        }
    }

    private keyOf(row: number): string {
        const volume = this.events.column('volume').ids[row] ?? 0;
        return [...identifying.map((field) => this.events.text(field, row)), ...(volume > 1 ? [String(volume)] : [])].join('|');
    }

    private take(marks: Json): void {
        for (const [key, mark] of Object.entries(isFacts(marks) ? marks : {}))
            this.byKey.set(key, together(this.byKey.get(key), mark));
        const offsets = new Set([...this.byKey.keys()].map((key) => key.split('|')[2]));
        this.byRow.clear();
        if (offsets.size > 0) {
            const column = this.events.column('offset');
            for (let row = 0; row < this.events.total; ++row) {
                if (!offsets.has(column.text(row))) continue;
                const mark = this.byKey.get(this.keyOf(row));
                if (mark) this.byRow.set(row, mark);
            }
        }
        this.unknown = this.byKey.size - this.byRow.size;
    }

    of(row: number): Mark {
        return this.byRow.get(row) ?? {star: false, note: ''};
    }
    has(row: number): boolean {
        const {star, note} = this.of(row);
        return star || note !== '';
    }
    rows(): number[] {
        return [...this.byRow.keys()].filter((row) => this.has(row)).sort((a, b) => a - b);
    }

    set(row: number, change: Partial<Mark>): void {
        const mark = {...this.of(row), ...change};
        const key = this.keyOf(row);
        if (mark.star || mark.note !== '') {
            this.byRow.set(row, mark);
            this.byKey.set(key, mark);
        } else {
            this.byRow.delete(row);
            this.byKey.delete(key);
        }
        this.keep();
        this.onchange(row);
    }

    private keep(): void {
        try {
            localStorage.setItem(this.caseKey, JSON.stringify(Object.fromEntries(this.byKey)));
            this.kept = true;
        } catch {
            this.kept = false;
        }
    }

    exported(): string {
        return JSON.stringify({kest_marks: 1, case: this.caseKey, marks: Object.fromEntries(this.byKey)}, null, 1);
    }

    // Adds those of a file; says what came of it.
    imported(text: string): string {
        let file: Json;
        try {
            file = JSON.parse(text) as Json;
        } catch {
            return 'This is no file of marks.';
        }
        if (!isFacts(file) || file.kest_marks !== 1 || !isFacts(file.marks)) return 'This is no file of marks.';
        this.take(file.marks);
        this.keep();
        this.onchange(-1);
        const other = file.case === this.caseKey ? '' : ' They were made in another case.';
        const lost = this.unknown > 0 ? ` ${this.unknown} of the marks are of events that are not in this page.` : '';
        return `${Object.keys(file.marks).length} marks were read.${other}${lost}`;
    }
}
