// Puts the page together: what is chosen, and what shows it.

import {readAddress, type State, writeAddress} from './address';
import {Histogram, isDark} from './chart';
import {Events, timeText} from './data';
import {changes, Detail, proofText} from './detail';
import {announce, button, byId, count, download, fill, h, name} from './dom';
import {exportCsv, exportJson} from './export';
import {showHead} from './head';
import {buildLook} from './look';
import {Marks} from './marks';
import {chipFields, type Chosen, Chooser, emptyQuery} from './query';
import {EventTable} from './table';
import {plain, title} from './words';

const views: [string, string][] = [['events', 'Events'], ['look', 'Worth a look'], ['marked', 'Marked'], ['read', 'What was read']];
const fewChips = 12;

const keys: [string, string][] = [
    ['/', 'look for words'],
    ['↑ ↓ or k j', 'the event before or after'],
    ['[ ]', 'a page of the table back or on'],
    ['m', 'mark the event'],
    ['n', 'write a note to it'],
    ['Esc', 'close the event, then choose all'],
    ['1 2 3 4', 'events, worth a look, marked, what was read'],
    ['t', 'light or dark'],
    ['← → + - 0 Enter', 'in the picture over time: move, zoom, all, choose the bar'],
    ['?', 'these keys'],
];

const darkSystem = window.matchMedia('(prefers-color-scheme: dark)');

// Only the empty text may ever become markup: names from the evidence stay text whatever a library does.
function refuseMarkup(): void {
    const types = (window as unknown as {trustedTypes?: {createPolicy(name: string, rules: object): unknown}}).trustedTypes;
    types?.createPolicy('default', {createHTML: (text: string) => (text === '' || text === '&nbsp;' ? text : null)});
}

class Page {
    private readonly events = new Events(document);
    private readonly chooser = new Chooser(this.events);
    private readonly marks = new Marks(this.events, (row) => this.markChanged(row));
    private readonly chart = new Histogram(byId('chart'), this.events, (from, to) => this.choose({from, to}), () => this.writeState());
    private readonly table: EventTable;
    private readonly detail: Detail;
    private state: State = readAddress(location.hash);
    private chosen: Chosen = {rows: new Uint32Array(0), counts: new Map(), problem: ''};
    private writing = false;
    private allChips = new Set<string>();

    constructor() {
        showHead(this.events);
        byId('main').hidden = false;
        byId('loading').hidden = true;
        this.table = new EventTable(byId('table'), this.events, {
            select: (row) => this.open(row, false),
            sort: (field) => this.sortBy(field),
            star: (row) => this.marks.set(row, {star: !this.marks.of(row).star}),
            marked: (row) => this.marks.has(row),
        });
        this.detail = new Detail(byId('detail'), this.events, this.marks, (row) => this.open(row, true), () => this.open(-1, false));
        this.buildViews();
        this.buildSearch();
        fill(byId('chart-tools'), ...this.chart.tools());
        fill(byId('table-tools'), this.table.chooser(),
            button('Save as CSV', () => exportCsv(this.events, this.chosen.rows)),
            button('Save as JSON', () => exportJson(this.events, this.chosen.rows)));
        fill(byId('keys'), h('h2', {}, 'Keys'), h('dl', {}, ...keys.flatMap(([key, what]) => [h('dt', {}, h('kbd', {}, key)), h('dd', {}, what)])),
            button('Close', () => byId<HTMLDialogElement>('keys').close()));
        this.restore();
        window.addEventListener('hashchange', () => {
            if (this.writing) return;
            this.state = readAddress(location.hash);
            this.restore();
        });
        window.addEventListener('keydown', (event) => this.key(event));
        window.addEventListener('beforeprint', () => this.buildMarked());
        darkSystem.addEventListener('change', () => {
            this.readScheme();
            this.restyle();
        });
    }

    private restore(): void {
        if (this.state.row >= this.events.total) this.state.row = -1;
        this.chart.setZoom(this.state.zoom);
        this.refill();
        this.update();
        this.show(this.state.view);
        this.detail.show(this.state.row);
        this.besides(this.state.row >= 0);
    }

    private writeState(): void {
        if (!this.chart || !this.state) return;
        const address = writeAddress(this.state, this.chart.zoomText());
        if (address === location.hash.slice(1)) return;
        this.writing = true;
        history.replaceState(null, '', `#${address}`);
        this.writing = false;
    }

    // What is chosen.
    private choose(change: Partial<State['query']>): void {
        Object.assign(this.state.query, change);
        this.update();
    }

    private update(): void {
        const {query, marked} = this.state;
        const chosen = this.chooser.choose(query);
        if (marked) chosen.rows = chosen.rows.filter((row) => this.marks.has(row));
        this.chosen = chosen;
        const {rows} = chosen;
        byId('chosen').textContent = `${count(rows.length)} of ${count(this.events.total, 'event')}`;
        const problem = byId('problem');
        problem.textContent = chosen.problem === '' ? '' : `Not understood: ${chosen.problem}`;
        byId('words').setAttribute('aria-invalid', String(chosen.problem !== ''));
        const span = byId('span');
        span.hidden = query.from === -Infinity && query.to === Infinity;
        span.textContent = `${timeText(query.from)} to ${timeText(query.to)} ✕`;
        this.table.show(rows, query.sort, query.descending, this.state.row);
        this.chart.show(rows, query.from, query.to, this.state.row);
        this.buildChips();
        this.writeState();
    }

    private sortBy(field: string): void {
        const {query} = this.state;
        const [sort, descending] = query.sort !== field ? [field, false] : query.descending ? ['', false] : [field, true];
        this.choose({sort, descending});
        announce(sort === '' ? 'In the order of the log' : `Sorted by ${title(sort)}${descending ? ', descending' : ''}`);
        byId('table').querySelector<HTMLElement>(`.sorter[data-field="${field}"]`)?.focus();
    }

    private buildSearch(): void {
        const fields = this.events.columns.filter((column) => column.kind !== 'none');
        let waiting: number | undefined;
        const soon = () => {
            window.clearTimeout(waiting);
            waiting = window.setTimeout(() => this.choose({words: byId<HTMLInputElement>('words').value}), 40);
        };
        const search = byId<HTMLFormElement>('search');
        search.addEventListener('submit', (event) => event.preventDefault());
        fill(search,
            h('label', {class: 'grow'}, h('span', {class: 'label'}, 'Words'), h('input', {id: 'words', type: 'search', autocomplete: 'off', spellcheck: 'false', placeholder: 'e.g. report  event:deleted  -state:undone', oninput: soon})),
            h('label', {}, h('span', {class: 'label'}, 'in'), h('select', {id: 'field', onchange: (event: Event) => this.choose({field: (event.target as HTMLSelectElement).value})},
                h('option', {value: ''}, 'all texts'), ...fields.map((column) => h('option', {value: column.name}, title(column.name))))),
            h('label', {class: 'box'}, h('input', {id: 'regex', type: 'checkbox', onchange: (event: Event) => this.choose({regex: (event.target as HTMLInputElement).checked})}), ' regular expression'),
            h('label', {class: 'box'}, h('input', {id: 'only-marked', type: 'checkbox', onchange: (event: Event) => {
                this.state.marked = (event.target as HTMLInputElement).checked;
                this.update();
            }}), ' only marked'),
            button('', () => this.choose({from: -Infinity, to: Infinity}), {id: 'span', class: 'chip on', 'aria-label': 'Drop the chosen span'}),
            button('Choose all', () => this.chooseAll(), {id: 'all'}),
            h('p', {id: 'problem', class: 'problem', role: 'alert'}));
    }

    private refill(): void {
        const {query, marked} = this.state;
        byId<HTMLInputElement>('words').value = query.words;
        byId<HTMLSelectElement>('field').value = query.field;
        byId<HTMLInputElement>('regex').checked = query.regex;
        byId<HTMLInputElement>('only-marked').checked = marked;
    }

    private chooseAll(): void {
        const {sort, descending} = this.state.query;
        this.state.query = {...emptyQuery(), sort, descending};
        this.state.marked = false;
        this.refill();
        this.update();
    }

    private buildChips(): void {
        const groups = chipFields.map((field) => this.chipGroup(field));
        const focused = document.activeElement instanceof HTMLElement ? document.activeElement.dataset.chip : undefined;
        fill(byId('chips'), ...groups);
        if (focused !== undefined) [...byId('chips').querySelectorAll<HTMLElement>('[data-chip]')].find((chip) => chip.dataset.chip === focused)?.focus();
    }

    private chipGroup(field: string): HTMLElement | false {
        const counts = this.chosen.counts.get(field);
        const {texts} = this.events.column(field);
        if (!counts || texts.length < 3) return false;
        const wanted = this.state.query.chips.get(field) ?? new Set<string>();
        const order = [...texts.keys()].slice(1).sort((a, b) => counts[b] - counts[a] || a - b);
        const shown = this.allChips.has(field) ? order : order.filter((id, place) => place < fewChips || wanted.has(texts[id]));
        const toggle = (text: string) => {
            const chips = new Set(wanted);
            if (!chips.delete(text)) chips.add(text);
            if (chips.size) this.state.query.chips.set(field, chips);
            else this.state.query.chips.delete(field);
            this.update();
        };
        const chip = (id: number) => {
            const on = wanted.has(texts[id]);
            const made = button('', () => toggle(texts[id]), {class: on ? 'chip on' : 'chip', 'aria-pressed': String(on), 'data-chip': `${field} ${texts[id]}`});
            fill(made, field === 'event' && this.chart.swatch(texts[id]), on && '✓ ', h('span', {class: 'chip-text'}, field === 'volume' ? texts[id] : plain(texts[id])), ' ', h('span', {class: 'number'}, count(counts[id])));
            return made;
        };
        const rest = order.length - shown.length;
        const more = () => {
            if (!this.allChips.delete(field)) this.allChips.add(field);
            this.buildChips();
        };
        return h('div', {class: 'chips', role: 'group', 'aria-label': title(field)}, h('span', {class: 'label'}, title(field)), ...shown.map(chip),
            (rest > 0 || this.allChips.has(field)) && button(rest > 0 ? `${rest} more` : 'fewer', more, {class: 'chip'}));
    }

    // One event.
    private open(row: number, reveal: boolean): void {
        this.state.row = row;
        if (reveal) {
            if (this.state.view !== 'events') this.show('events');
            if (row >= 0 && !this.chosen.rows.includes(row)) this.chooseAll();
        }
        this.table.select(row, false);
        this.chart.show(this.chosen.rows, this.state.query.from, this.state.query.to, row);
        this.besides(row >= 0);
        this.detail.show(row);
        byId('detail').scrollTop = 0;
        if (row >= 0 && (reveal || window.innerWidth < 1080)) byId('detail').focus();
        this.writeState();
    }

    private besides(on: boolean): void {
        document.body.classList.toggle('detailed', on);
        this.table.setBesides(on);
    }

    private markChanged(row: number): void {
        if (!this.table) return;
        this.table.refresh(row);
        // Whoever writes a note goes on writing.
        if ((row === this.state.row && document.activeElement?.id !== 'note') || row < 0) this.detail.show(this.state.row);
        if (row < 0) this.update();
        if (this.state.view === 'marked' && document.activeElement?.tagName !== 'TEXTAREA') this.buildMarked();
        this.countMarks();
    }

    private countMarks(): void {
        const link = byId('views').querySelector('[data-view="marked"]');
        const marked = this.marks.rows().length;
        if (link) link.textContent = marked === 0 ? 'Marked' : `Marked (${count(marked)})`;
    }

    // Views.
    private buildViews(): void {
        fill(byId('views'),
            ...views.map(([view, label]) => button(label, () => this.show(view), {'data-view': view, class: 'view-link'})),
            button('Print', () => window.print(), {title: 'The marked events with notes, proofs and what was read'}),
            button('Light / dark', () => this.turnScheme()),
            button('Keys', () => byId<HTMLDialogElement>('keys').showModal()));
        this.readScheme();
        this.countMarks();
    }

    private show(view: string): void {
        const known = views.some(([other]) => other === view) ? view : 'events';
        this.state.view = known;
        for (const [other] of views) byId(`view-${other}`).hidden = other !== known;
        for (const link of byId('views').querySelectorAll<HTMLElement>('[data-view]')) {
            if (link.dataset.view === known) link.setAttribute('aria-current', 'page');
            else link.removeAttribute('aria-current');
        }
        if (known === 'marked') this.buildMarked();
        if (known === 'look' && byId('view-look').childElementCount === 0)
            buildLook(byId('view-look'), this.events, (row) => this.open(row, true), (kind) => {
                this.chooseAll();
                this.state.query.chips.set('event', new Set([kind]));
                this.update();
                this.show('events');
            });
        if (known === 'events') this.chart.redraw();
        this.writeState();
    }

    // The marked events with their notes: on paper, with what was read, the appendix of a report.
    private buildMarked(): void {
        const {events, marks} = this;
        const file = h('input', {type: 'file', accept: '.json,application/json', class: 'unseen', tabindex: -1, 'aria-label': 'File of marks', onchange: async (event: Event) => {
            const chosen = (event.target as HTMLInputElement).files?.[0];
            if (chosen) this.say(marks.imported(await chosen.text()));
        }});
        const items = marks.rows().map((row) => {
            const {star, note} = marks.of(row);
            const old = events.text('old_path', row);
            return h('article', {class: 'marked'},
                h('div', {class: 'bar'}, h('h3', {}, star ? '★ ' : '', plain(events.text('event', row)), ['', 'done'].includes(events.text('state', row)) ? '' : ` (${events.text('state', row)})`),
                    h('div', {class: 'tools screen'}, button('Look at it', () => this.open(row, true)), button('Unmark', () => marks.set(row, {star: false, note: ''})))),
                old !== '' && h('p', {}, name(`${old} →`)), events.text('path', row) !== '' && h('p', {}, name(events.text('path', row), 'name strong')),
                h('p', {}, h('span', {class: events.isExact(row) ? 'time' : 'time open'}, events.when(row)), ' UTC. ', events.text('timestamp_desc', row)),
                changes(events.object('details', row)),
                h('p', {class: 'proof'}, h('code', {}, proofText(events, row))),
                note !== '' && h('p', {class: 'note'}, note));
        });
        fill(byId('view-marked'),
            h('div', {class: 'bar'}, h('h2', {}, 'Marked events'), h('div', {class: 'tools screen'},
                button('Print', () => window.print()),
                button('Save marks', () => download('marks.json', 'application/json', [marks.exported()])),
                button('Read marks', () => file.click()), file)),
            h('p', {id: 'marks-said', class: 'quiet screen', role: 'status'}, this.marksWords()),
            ...items);
    }

    private marksWords(): string {
        const {marks} = this;
        if (!marks.kept) return 'This browser does not keep marks for this page: save them as a file before you close it.';
        return marks.rows().length === 0 ? 'No event is marked yet. Mark one with ☆ in the table, or write a note to it.' : 'Marks and notes are kept in this browser for this case.';
    }
    private say(words: string): void {
        this.buildMarked();
        byId('marks-said').textContent = words;
    }

    // Light and dark.
    private turnScheme(): void {
        const scheme = isDark() ? 'light' : 'dark';
        try {
            localStorage.setItem('kest scheme', scheme);
        } catch {
            // It holds as long as the page is open.
        }
        this.setScheme(scheme);
        this.restyle();
    }
    private readScheme(): void {
        let chosen: string | null = null;
        try {
            chosen = localStorage.getItem('kest scheme');
        } catch {
            // The system's.
        }
        this.setScheme(chosen ?? (darkSystem.matches ? 'dark' : 'light'));
    }
    private setScheme(scheme: string): void {
        document.documentElement.dataset.scheme = scheme;
    }
    private restyle(): void {
        this.chart.restyle();
        this.buildChips();
    }

    private key(event: KeyboardEvent): void {
        const target = event.target as HTMLElement;
        if (event.ctrlKey || event.metaKey || event.altKey || event.defaultPrevented) return;
        const writes = target.matches('textarea, select, input:not([type=checkbox])');
        if (event.key === 'Escape' && !byId<HTMLDialogElement>('keys').open) {
            if (writes) target.blur();
            else if (this.state.row >= 0) this.open(-1, false);
            else this.chooseAll();
            return;
        }
        if (writes) return;
        const inTable = this.state.view === 'events';
        const {row} = this.state;
        const actions: {[key: string]: (() => void) | false} = {
            '/': () => {
                this.show('events');
                byId('words').focus();
            },
            j: inTable && (() => this.table.step(1)),
            k: inTable && (() => this.table.step(-1)),
            '[': inTable && (() => this.table.turn(-1)),
            ']': inTable && (() => this.table.turn(1)),
            m: row >= 0 && (() => this.marks.set(row, {star: !this.marks.of(row).star})),
            n: row >= 0 && inTable && (() => byId('note').focus()),
            t: () => this.turnScheme(),
            '?': () => byId<HTMLDialogElement>('keys').showModal(),
        };
        views.forEach(([view], place) => (actions[String(place + 1)] = () => this.show(view)));
        const action = actions[event.key];
        if (!action) return;
        event.preventDefault();
        action();
    }
}

refuseMarkup();
// The words that it is reading are shown first.
window.setTimeout(() => new Page(), 0);
