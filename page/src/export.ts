// What is chosen, as files.

import {type Events} from './data';
import {download} from './dom';

const piece = 4096; // lines

function pieces(rows: ArrayLike<number>, line: (row: number) => string): string[] {
    const parts: string[] = [];
    for (let first = 0; first < rows.length; first += piece) {
        let text = '';
        for (let at = first; at < Math.min(first + piece, rows.length); ++at) text += line(rows[at]);
        parts.push(text);
    }
    return parts;
}

const cell = (text: string): string => (/[",\r\n]/.test(text) || text !== text.trim() ? `"${text.replaceAll('"', '""')}"` : text);

// As RFC 4180 says, all fields.
export function exportCsv(events: Events, rows: ArrayLike<number>): void {
    const head = `${events.columns.map((column) => column.name).join(',')}\r\n`;
    const line = (row: number) =>
        `${events.columns.map((column) => cell(column.kind === 'times' ? column.json(row).slice(1, -1) : column.text(row))).join(',')}\r\n`;
    download('events.csv', 'text/csv', [head, ...pieces(rows, line)]);
}

export function jsonLine(events: Events, row: number): string {
    const members = events.columns.map((column) => [column.name, column.json(row)]).filter(([, value]) => value !== '');
    return `{${members.map(([name, value]) => `"${name}":${value}`).join(',')}}`;
}

// The lines that the program itself writes.
export function exportJson(events: Events, rows: ArrayLike<number>): void {
    download('events.jsonl', 'application/x-ndjson', pieces(rows, (row) => `${jsonLine(events, row)}\n`));
}
