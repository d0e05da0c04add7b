// The table of events. It is given a page of rows at a time, so that half a million open at once.

import {type ColumnDefinition, FormatModule, InteractionModule, type RowComponent, ResizeColumnsModule, ResizeTableModule, Tabulator} from 'tabulator-tables';
import {type Events} from './data';
import {button, byId, count, h, name} from './dom';
import {plain, title} from './words';

Tabulator.registerModule([FormatModule, InteractionModule, ResizeColumnsModule, ResizeTableModule]);

const rowsOfPage = 100;
const usual = ['time', 'clock', 'event', 'state', 'path', 'old_path'];
const spared = ['clock', 'old_path']; // where there is less room
const widths: {[field: string]: number} = {time: 230, clock: 96, event: 150, state: 80, volume: 140, reason: 220, file: 140};
const growing: {[field: string]: number} = {path: 5, old_path: 2};

interface Line {
    row: number;
}

export interface TableHooks {
    select(row: number): void;
    sort(field: string): void;
    star(row: number): void;
    marked(row: number): boolean;
}

export class EventTable {
    private rows: Uint32Array = new Uint32Array(0);
    private page = 0;
    private table?: Tabulator;
    private ready: Promise<void> = Promise.resolve();
    private sorted = {field: '', descending: false};
    private readonly narrow = window.matchMedia('(max-width: 640px)');
    private shown: Set<string>;
    private selected = -1;
    private besides = false; // something beside the table: it has less room

    constructor(private readonly host: HTMLElement, private readonly events: Events, private readonly hooks: TableHooks) {
        const volumes = events.column('volume');
        this.shown = new Set([...usual, ...(volumes.texts.length > 2 ? ['volume'] : [])].filter((name) => events.column(name).kind !== 'none'));
        this.narrow.addEventListener('change', () => this.rebuild());
        host.addEventListener('keydown', (event) => this.key(event));
        this.rebuild();
    }

    show(rows: Uint32Array, sort: string, descending: boolean, selected: number): void {
        this.rows = rows;
        this.sorted = {field: sort, descending};
        this.selected = selected;
        const place = selected < 0 ? -1 : rows.indexOf(selected);
        this.turnTo(place < 0 ? 0 : Math.floor(place / rowsOfPage));
    }

    select(row: number, focus: boolean): void {
        const before = this.selected;
        this.selected = row;
        const place = row < 0 ? -1 : this.rows.indexOf(row);
        if (place >= 0 && Math.floor(place / rowsOfPage) !== this.page) return this.turnTo(Math.floor(place / rowsOfPage), focus);
        for (const changed of [before, row]) this.refresh(changed);
        if (place >= 0) void this.reveal(focus);
    }

    refresh(row: number): void {
        if (row < 0) return;
        const found = this.table?.getRow(row);
        if (found) found.reformat();
    }

    private async reveal(focus: boolean): Promise<void> {
        await this.ready;
        const found = this.table?.getRow(this.selected);
        if (!found || !this.table) return;
        await this.table.scrollToRow(found, 'nearest', false).catch(() => undefined);
        if (focus) found.getElement().focus({preventScroll: true});
    }

    private turnTo(page: number, focus = false): void {
        this.page = Math.max(0, Math.min(page, Math.ceil(this.rows.length / rowsOfPage) - 1));
        const lines = Array.from(this.rows.subarray(this.page * rowsOfPage, (this.page + 1) * rowsOfPage), (row) => ({row}));
        this.ready = this.ready.then(async () => {
            await this.table?.setData(lines);
            this.markSorted();
            this.host.setAttribute('data-shown', String(this.rows.length));
        });
        if (this.selected >= 0 && this.rows.includes(this.selected)) void this.reveal(focus);
        this.pager();
    }

    private pager(): void {
        const first = this.page * rowsOfPage;
        const last = Math.min(first + rowsOfPage, this.rows.length);
        const pages = Math.ceil(this.rows.length / rowsOfPage);
        const step = (label: string, to: number) => button(label, () => this.turnTo(to), {disabled: to < 0 || to >= pages || to === this.page});
        byId('pager').replaceChildren(
            ...(pages > 1
                ? [step('First', 0), step('Previous', this.page - 1), h('span', {}, `${count(first + 1)} to ${count(last)} of ${count(this.rows.length)}`), step('Next', this.page + 1), step('Last', pages - 1)]
                : []),
        );
    }

    private rebuild(): void {
        this.table?.destroy();
        this.host.replaceChildren();
        const table = new Tabulator(this.host, {
            data: [],
            index: 'row',
            height: 'var(--table-height)',
            layout: 'fitColumns',
            renderVertical: 'basic', // rows are as high as their paths
            columns: this.narrow.matches ? [this.starColumn(), this.stackedColumn()] : [this.starColumn(), ...this.columns()],
            columnDefaults: {resizable: !this.narrow.matches},
            rowFormatter: (row) => this.format(row),
            placeholder: () => h('p', {class: 'quiet'}, 'No event is chosen.'),
        } as ConstructorParameters<typeof Tabulator>[1]);
        table.on('rowClick', (event, row) => {
            if (!(event.target as HTMLElement).closest('button')) this.hooks.select((row.getData() as Line).row);
        });
        this.table = table;
        this.ready = new Promise((done) => table.on('tableBuilt', () => {
            this.nameParts();
            done();
        }));
        this.turnTo(this.page);
    }

    // A grid has groups of rows, and nothing between these and the rows.
    private nameParts(): void {
        const set = (part: string, role: string) => this.host.querySelector(part)?.setAttribute('role', role);
        this.host.removeAttribute('aria-owns');
        this.host.setAttribute('aria-label', 'Events');
        set('.tabulator-header-contents', 'none');
        set('.tabulator-tableholder', 'rowgroup');
        set('.tabulator-table', 'none');
    }

    private format(row: RowComponent): void {
        const element = row.getElement();
        const chosen = (row.getData() as Line).row === this.selected;
        element.tabIndex = -1;
        element.setAttribute('aria-selected', String(chosen));
        element.classList.toggle('chosen', chosen);
    }

    private starColumn(): ColumnDefinition {
        return {
            title: 'Mark',
            field: 'star',
            width: 46,
            hozAlign: 'center',
            resizable: false,
            titleFormatter: () => h('span', {class: 'unseen'}, 'Mark'),
            formatter: (cell) => {
                const {row} = cell.getData() as Line;
                const on = this.hooks.marked(row);
                return button(on ? '★' : '☆', () => this.hooks.star(row), {class: 'star', tabindex: -1, 'aria-pressed': String(on), 'aria-label': on ? 'Marked' : 'Mark'});
            },
        };
    }

    private cell(field: string, row: number): HTMLElement {
        if (field === 'time') {
            const exact = this.events.isExact(row);
            return h('span', {class: exact ? 'time' : 'time open', title: this.events.text('timestamp_desc', row) || undefined}, this.events.when(row));
        }
        const text = this.events.text(field, row);
        if (field === 'path' || field === 'old_path') return name(text);
        return h('span', {}, field === 'event' || field === 'state' || field === 'clock' ? plain(text) : text);
    }

    private columns(): ColumnDefinition[] {
        const fields = this.events.columns.map((column) => column.name).filter((name) => this.shown.has(name));
        return fields.map((field) => ({
            title: title(field),
            field,
            ...(growing[field] ? {widthGrow: growing[field], minWidth: 180} : {width: widths[field] ?? 130}),
            titleFormatter: () =>
                button(title(field), () => this.hooks.sort(field), {class: 'sorter', 'data-field': field}),
            formatter: (cell) => this.cell(field, (cell.getData() as Line).row),
            variableHeight: true,
            visible: !(this.besides && spared.includes(field)),
        }));
    }

    // On a narrow screen an event is a few lines in one column.
    private stackedColumn(): ColumnDefinition {
        return {
            title: 'Event',
            field: 'event',
            titleFormatter: () => button(title('time'), () => this.hooks.sort('time'), {class: 'sorter', 'data-field': 'time'}),
            widthGrow: 1,
            variableHeight: true,
            formatter: (cell) => {
                const {row} = cell.getData() as Line;
                const state = this.events.text('state', row);
                const old = this.events.text('old_path', row);
                const line = h('div', {class: 'stack'}, this.cell('time', row),
                    h('b', {}, plain(this.events.text('event', row)), state && state !== 'done' ? ` (${state})` : ''),
                    old !== '' && name(`${old} →`), this.cell('path', row));
                return line;
            },
        };
    }

    private markSorted(): void {
        for (const sorter of this.host.querySelectorAll<HTMLElement>('.sorter')) {
            const own = sorter.dataset.field === this.sorted.field;
            const order = own ? (this.sorted.descending ? 'descending' : 'ascending') : 'none';
            sorter.closest('[role="columnheader"]')?.setAttribute('aria-sort', order);
            sorter.dataset.order = order;
        }
    }

    private key(event: KeyboardEvent): void {
        if (event.ctrlKey || event.metaKey || event.altKey || this.rows.length === 0) return;
        const steps: {[key: string]: number} = {ArrowDown: 1, ArrowUp: -1, PageDown: 15, PageUp: -15, Home: -Infinity, End: Infinity};
        const by = steps[event.key];
        if (by === undefined || (event.target as HTMLElement).closest('.tabulator-header')) return;
        event.preventDefault();
        this.step(by);
    }
    step(by: number): void {
        const place = this.selected < 0 ? -1 : this.rows.indexOf(this.selected);
        const next = Math.max(0, Math.min(this.rows.length - 1, place + by));
        this.hooks.select(this.rows[next]);
        this.select(this.rows[next], true);
    }
    turn(by: number): void {
        this.turnTo(this.page + by);
    }

    setBesides(on: boolean): void {
        if (on === this.besides || this.narrow.matches) return;
        this.besides = on;
        const fields = spared.filter((field) => this.shown.has(field));
        void this.ready.then(() => {
            for (const field of fields) on ? this.table?.hideColumn(field) : this.table?.showColumn(field);
            this.table?.redraw();
        });
    }

    chooser(): HTMLElement {
        const boxes = this.events.columns.filter((column) => column.kind !== 'none' && column.kind !== 'objects').map((column) =>
            h('label', {}, h('input', {type: 'checkbox', checked: this.shown.has(column.name), onchange: (event: Event) => {
                if ((event.target as HTMLInputElement).checked) this.shown.add(column.name);
                else this.shown.delete(column.name);
                this.rebuild();
            }}), ` ${title(column.name)}`));
        return h('details', {class: 'menu wide'}, h('summary', {}, 'Columns'), h('div', {}, ...boxes));
    }
}
