// What is chosen stands in the address after "#", so that it can be bookmarked and noted.

import {isoText} from './data';
import {chipFields, emptyQuery, type Query} from './query';

export interface State {
    view: string;
    query: Query;
    row: number; // of the event that is looked at; -1 is none
    zoom: [number, number] | undefined; // seconds
    marked: boolean;
}

const microseconds = (text: string | null, otherwise: number): number => {
    const [, seconds, fraction] = /^(.*?)(?:\.(\d{1,6}))?Z$/.exec(text ?? '') ?? [];
    const value = Date.parse(`${seconds}Z`);
    return Number.isNaN(value) ? otherwise : value * 1000 + Number((fraction ?? '').padEnd(6, '0'));
};

export function readAddress(hash: string): State {
    const parts = new URLSearchParams(hash.replace(/^#/, ''));
    const query = emptyQuery();
    query.words = parts.get('words') ?? '';
    query.regex = parts.has('regex');
    query.field = parts.get('in') ?? '';
    query.sort = parts.get('sort') ?? '';
    query.descending = parts.has('down');
    query.from = microseconds(parts.get('from'), -Infinity);
    query.to = microseconds(parts.get('to'), Infinity);
    for (const field of chipFields) {
        const values = parts.getAll(`is.${field}`);
        if (values.length) query.chips.set(field, new Set(values));
    }
    const zoom = (parts.get('zoom') ?? '').split('..').map((text) => microseconds(text, NaN) / 1e6);
    const row = Number(parts.get('event') ?? 0) - 1;
    return {
        view: parts.get('view') ?? 'events',
        query,
        row: Number.isInteger(row) ? row : -1,
        zoom: zoom.length === 2 && zoom[0] < zoom[1] ? [zoom[0], zoom[1]] : undefined,
        marked: parts.has('marked'),
    };
}

export function writeAddress({view, query, row, marked}: State, zoom: string): string {
    const parts = new URLSearchParams();
    const put = (name: string, value: string) => value !== '' && parts.append(name, value);
    put('view', view === 'events' ? '' : view);
    put('words', query.words);
    put('regex', query.regex ? '1' : '');
    put('in', query.field);
    for (const [field, values] of query.chips) for (const value of values) put(`is.${field}`, value);
    put('from', query.from === -Infinity ? '' : isoText(query.from));
    put('to', query.to === Infinity ? '' : isoText(query.to));
    put('marked', marked ? '1' : '');
    put('sort', query.sort);
    put('down', query.descending ? '1' : '');
    put('zoom', zoom);
    put('event', row >= 0 ? String(row + 1) : '');
    return parts.toString();
}
