// What is chosen of the events, and in which order.

import {type Column, type Events} from './data';

export interface Query {
    words: string;
    regex: boolean;
    field: string; // in which the words are looked for; empty: in all with text
    chips: Map<string, Set<string>>; // by field: values of which one is wanted
    from: number; // microseconds; -Infinity to Infinity is all
    to: number;
    sort: string;
    descending: boolean;
}

export const emptyQuery = (): Query => ({
    words: '',
    regex: false,
    field: '',
    chips: new Map(),
    from: -Infinity,
    to: Infinity,
    sort: '',
    descending: false,
});

export interface Chosen {
    rows: Uint32Array; // in the order that was asked for
    counts: Map<string, Uint32Array>; // by field of chips: how many there are of each text, were it not for its own chips
    problem: string; // why the words were not understood
}

// Fields that chips are offered for, where their values differ.
export const chipFields = ['event', 'state', 'clock', 'source', 'volume'];

interface Term {
    test: (text: string) => boolean;
    fields: Column[];
    but: boolean; // must not match
}

const literal = (word: string): RegExp => new RegExp(word.replace(/[.*+?^${}()|[\]\\]/g, '\\$&'), 'i');

export class Chooser {
    private readonly orders = new Map<string, Uint32Array>();
    constructor(private readonly events: Events) {}

    choose(query: Query): Chosen {
        const {events} = this;
        let terms: Term[] = [];
        let problem = '';
        try {
            terms = this.termsOf(query);
        } catch (error) {
            problem = error instanceof Error ? error.message : String(error);
        }
        const passes = this.matching(terms);
        this.cutSpan(passes, query);

        const chips = chipFields.map((name) => events.column(name)).filter((column) => column.kind === 'texts' && column.distinct);
        const counts = new Map(chips.map((column) => [column.name, new Uint32Array(column.texts.length)] as const));
        const wanted = chips.map((column) => {
            const values = query.chips.get(column.name);
            return values?.size ? Uint8Array.from(column.texts, (text) => (values.has(text) ? 1 : 0)) : undefined;
        });
        const tallies = chips.map((column) => counts.get(column.name)!);
        const found = new Uint32Array(events.total);
        let size = 0;
        const narrowed = wanted.some((allowed) => allowed !== undefined);
        for (let row = 0; row < events.total; ++row) {
            if (passes[row] === 0) continue;
            if (!narrowed) {
                found[size++] = row;
                continue;
            }
            let failed = -1;
            let failures = 0;
            for (let at = 0; at < chips.length; ++at) {
                const allowed = wanted[at];
                if (allowed !== undefined && allowed[chips[at].ids[row]] === 0) {
                    failed = at;
                    ++failures;
                }
            }
            if (failures === 0) {
                found[size++] = row;
                for (let at = 0; at < chips.length; ++at) ++tallies[at][chips[at].ids[row]];
            } else if (failures === 1) {
                ++tallies[failed][chips[failed].ids[row]];
            }
        }
        if (!narrowed)
            chips.forEach(({ids}, at) => {
                for (let place = 0; place < size; ++place) ++tallies[at][ids[found[place]]];
            });
        return {rows: this.inOrder(found.subarray(0, size), query), counts, problem};
    }

    // Words that all must be found; "field:word" looks into one field, "-word" must not be found, quotes hold blanks.
    private termsOf(query: Query): Term[] {
        const {events} = this;
        const named = (name: string) => events.columns.filter((column) => column.name === name && column.kind !== 'none');
        const texts = events.columns.filter((column) => column.kind === 'texts');
        const fields = query.field === '' ? texts : named(query.field);
        if (query.words.trim() === '') return [];
        if (query.regex) {
            const pattern = new RegExp(query.words, 'iu');
            return [{test: (text) => pattern.test(text), fields, but: false}];
        }
        const terms: Term[] = [];
        for (const [, minus, field, quoted, bare] of query.words.matchAll(/(-?)(?:([a-z_]+):)?(?:"([^"]*)"?|(\S+))/g)) {
            let word = quoted ?? bare;
            let where = fields;
            if (field !== undefined) {
                where = named(field);
                if (where.length === 0) {
                    where = fields;
                    word = `${field}:${word}`;
                }
            }
            const pattern = literal(word);
            const number = where.length === 1 && where[0].kind === 'numbers';
            terms.push({test: number ? (text) => text === word : (text) => pattern.test(text), fields: where, but: minus === '-'});
        }
        return terms;
    }

    private matching(terms: Term[]): Uint8Array {
        const {total} = this.events;
        const passes = new Uint8Array(total).fill(1);
        for (const {test, fields, but} of terms) {
            const hit = new Uint8Array(total);
            for (const column of fields) {
                if (column.kind === 'texts') {
                    const hits = new Uint8Array(column.texts.length);
                    let any = false;
                    for (let place = 1; place < hits.length; ++place)
                        if (test(column.texts[place])) {
                            hits[place] = 1;
                            any = true;
                        }
                    if (any) for (let row = 0; row < total; ++row) hit[row] |= hits[column.ids[row]];
                } else {
                    for (let row = 0; row < total; ++row) if (passes[row] !== 0 && test(column.text(row))) hit[row] = 1;
                }
            }
            const miss = but ? 1 : 0;
            for (let row = 0; row < total; ++row) if (hit[row] === miss) passes[row] = 0;
        }
        return passes;
    }

    // An event that is known to an interval is within a span if it may have happened then; one without an end counts
    // where it begins, one without a beginning where it ends.
    private cutSpan(passes: Uint8Array, {from, to}: Query): void {
        if (from === -Infinity && to === Infinity) return;
        const ends = this.events.column('not_after');
        for (let row = 0; row < passes.length; ++row) {
            const begin = this.events.moment(row);
            const end = ends.kind === 'times' && !Number.isNaN(ends.numbers[row]) ? ends.numbers[row] : begin;
            if (!(begin <= to && end >= from)) passes[row] = 0;
        }
    }

    private inOrder(rows: Uint32Array, {sort, descending}: Query): Uint32Array {
        if (sort === '') return rows;
        const rank = this.rankBy(sort);
        const ordered = rows.slice().sort((a, b) => rank[a] - rank[b] || a - b);
        return descending ? ordered.reverse() : ordered;
    }

    // For each row how many values come before its own.
    private rankBy(name: string): Uint32Array {
        const known = this.orders.get(name);
        if (known) return known;
        const {total} = this.events;
        const column = this.events.column(name);
        const rank = new Uint32Array(total);
        if (column.kind === 'texts') {
            const order = Uint32Array.from(column.texts.keys()).sort((a, b) => {
                const one = column.texts[a];
                const other = column.texts[b];
                return one < other ? -1 : one > other ? 1 : 0;
            });
            const places = new Uint32Array(order.length);
            let before = 0;
            order.forEach((text, at) => {
                if (at > 0 && column.texts[text] !== column.texts[order[at - 1]]) before = at;
                places[text] = before;
            });
            for (let row = 0; row < total; ++row) rank[row] = places[column.ids[row]];
        } else {
            const value = (row: number) =>
                column.kind === 'truths' ? column.truths[row] : column.kind === 'none' || Number.isNaN(column.numbers[row]) ? -Infinity : column.numbers[row];
            const values = Float64Array.from({length: total}, (_, row) => value(row));
            const order = Uint32Array.from({length: total}, (_, row) => row).sort((a, b) => (values[a] < values[b] ? -1 : values[a] > values[b] ? 1 : 0));
            let before = 0;
            order.forEach((row, at) => {
                if (at > 0 && values[row] !== values[order[at - 1]]) before = at;
                rank[row] = before;
            });
        }
        this.orders.set(name, rank);
        return rank;
    }
}
