// Events over time, stacked by what happened: years to seconds. Kinds differ by pattern as well as by colour.

import uPlot from 'uplot';
import {button, byId, count, h} from './dom';
import {type Events, isoText, timeText} from './data';
import {plain} from './words';

const steps = [0.001, 0.01, 0.1, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 14400, 21600, 43200, 86400, 172800, 604800, 1209600, 2592000, 7862400, 31557600, 315576000];
const palettes = {
    light: ['#0072b2', '#d55e00', '#008a66', '#8f4fa8', '#b07700', '#3d8fc4', '#6b7480'],
    dark: ['#56b4e9', '#ff9f5a', '#2fc79b', '#d9a2e6', '#f0c44a', '#8fb8ff', '#9aa5b1'],
};
const other = 6; // place of all kinds that have no colour of their own
export const isDark = (): boolean => getComputedStyle(document.documentElement).colorScheme === 'dark';

// Kinds of events that are about the volume itself: each is a mark on the axis.
const markKinds = new Set(['mounted', 'clock_set_back', 'journal_created', 'journal_deleted', 'journal_resized', 'volume_flags_set', 'volume_renamed']);

function pattern(place: number): CanvasPattern | string {
    const color = palettes[isDark() ? 'dark' : 'light'][place];
    if (place === 0) return color;
    const tile = h('canvas', {width: 8, height: 8});
    const pen = tile.getContext('2d')!;
    pen.fillStyle = color;
    pen.fillRect(0, 0, 8, 8);
    pen.strokeStyle = pen.fillStyle = isDark() ? '#0d1117' : '#ffffff';
    pen.lineWidth = 1.5;
    const line = (...points: number[]) => {
        pen.beginPath();
        for (let at = 0; at < points.length; at += 4) {
            pen.moveTo(points[at], points[at + 1]);
            pen.lineTo(points[at + 2], points[at + 3]);
        }
        pen.stroke();
    };
    if (place === 1) line(-2, 10, 10, -2, -2, 2, 2, -2, 6, 10, 10, 6);
    if (place === 2) line(0, 4, 8, 4);
    if (place === 3) line(4, 0, 4, 8);
    if (place === 4) line(-2, -2, 10, 10, 6, -2, 10, 2, -2, 6, 2, 10);
    if (place === 5) {
        pen.fillRect(1, 1, 2, 2);
        pen.fillRect(5, 5, 2, 2);
    }
    if (place === other) line(0, 4, 8, 4, 4, 0, 4, 8);
    return pen.createPattern(tile, 'repeat') ?? color;
}

interface Bins {
    begin: number; // seconds
    step: number;
    size: number;
    exact: Uint32Array[]; // by place of the kind
    open: Uint32Array[]; // likewise: those whose time is an interval
    kinds: Map<number, Uint32Array>; // by text of the kind
}

export class Histogram {
    private plot?: uPlot;
    private rows: Uint32Array = new Uint32Array(0);
    private bins?: Bins;
    private view: [number, number];
    readonly whole: [number, number];
    private readonly places: Uint8Array; // of each kind
    private readonly inexact: Uint8Array;
    private span: [number, number] = [-Infinity, Infinity];
    private cursor = -1;
    private selected = -1;
    private untimed = 0; // of the chosen

    constructor(
        private readonly host: HTMLElement,
        private readonly events: Events,
        private readonly onspan: (from: number, to: number) => void,
        private readonly onview: () => void,
    ) {
        const kind = events.column('event');
        const uses = new Uint32Array(kind.texts.length);
        for (let row = 0; row < events.total; ++row) ++uses[kind.ids[row] ?? 0];
        const common = [...uses.keys()].filter((id) => uses[id] > 0).sort((a, b) => uses[b] - uses[a] || a - b);
        this.places = new Uint8Array(uses.length).fill(other);
        common.slice(0, other).forEach((id, place) => (this.places[id] = place));
        this.inexact = Uint8Array.from({length: events.total}, (_, row) => (events.isExact(row) ? 0 : 1));
        this.whole = this.view = this.wholeRange();
        this.listen();
        new ResizeObserver(() => this.fit()).observe(host);
    }

    private wholeRange(): [number, number] {
        let low = Infinity;
        let high = -Infinity;
        for (const name of ['time', 'not_after']) {
            const {numbers} = this.events.column(name);
            for (const value of numbers) {
                if (value < low) low = value;
                if (value > high) high = value;
            }
        }
        if (low > high) return [0, 60];
        const room = Math.max((high - low) / 1e6 / 50, 1);
        return [low / 1e6 - room, high / 1e6 + room];
    }

    // What a kind looks like, for a legend.
    swatch(kind: string): HTMLCanvasElement {
        const canvas = h('canvas', {width: 14, height: 14, class: 'swatch', 'aria-hidden': 'true'});
        const pen = canvas.getContext('2d')!;
        pen.fillStyle = pattern(this.places[this.events.column('event').texts.indexOf(kind)] ?? other);
        pen.fillRect(0, 0, 14, 14);
        return canvas;
    }

    show(rows: Uint32Array, from: number, to: number, selected: number): void {
        this.rows = rows;
        this.span = [from, to];
        this.selected = selected;
        this.redraw();
    }

    get zoom(): [number, number] | undefined {
        return this.view === this.whole ? undefined : this.view;
    }
    setZoom(view: [number, number] | undefined): void {
        const [low, high] = view ?? this.whole;
        const all = high - low >= (this.whole[1] - this.whole[0]) * 0.999;
        this.view = all || !(high > low) ? this.whole : [low, high];
        this.redraw();
        this.onview();
    }
    private zoomBy(factor: number, about = (this.view[0] + this.view[1]) / 2): void {
        const [low, high] = this.view;
        const width = Math.max((high - low) * factor, 0.05);
        const begin = about - ((about - low) / (high - low)) * width;
        this.setZoom([Math.max(begin, this.whole[0]), Math.min(begin + width, this.whole[1])]);
    }
    private pan(part: number): void {
        const [low, high] = this.view;
        const by = Math.max(this.whole[0] - low, Math.min(this.whole[1] - high, (high - low) * part));
        this.setZoom([low + by, high + by]);
    }

    private count(): Bins {
        const [low, high] = this.view;
        const wanted = (high - low) / Math.max(this.host.clientWidth / 9, 20);
        const step = steps.find((candidate) => candidate >= wanted) ?? steps[steps.length - 1];
        const begin = Math.floor(low / step) * step;
        const size = Math.min(Math.ceil((high - begin) / step) + 1, 4000);
        const lists = () => Array.from({length: other + 1}, () => new Uint32Array(size));
        const bins: Bins = {begin, step, size, exact: lists(), open: lists(), kinds: new Map()};
        this.untimed = 0;
        const {ids} = this.events.column('event');
        const kinds: Uint32Array[] = [];
        for (const row of this.rows) {
            const time = this.events.moment(row);
            if (Number.isNaN(time)) ++this.untimed;
            const bin = Math.floor((time / 1e6 - begin) / step);
            if (!(bin >= 0 && bin < size)) continue;
            const kind = ids[row];
            ++(this.inexact[row] ? bins.open : bins.exact)[this.places[kind]][bin];
            ++(kinds[kind] ??= new Uint32Array(size))[bin];
        }
        kinds.forEach((counts, kind) => bins.kinds.set(kind, counts));
        return bins;
    }

    private total(bin: number): number {
        let sum = 0;
        for (let place = 0; place <= other; ++place) sum += this.bins!.exact[place][bin] + this.bins!.open[place][bin];
        return sum;
    }

    redraw(): void {
        if (this.host.clientWidth === 0) return;
        this.bins = this.count();
        const {begin, step, size} = this.bins;
        const x = Array.from({length: size}, (_, bin) => begin + (bin + 0.5) * step);
        const y = x.map((_, bin) => this.total(bin));
        if (this.plot) this.plot.setData([x, y]);
        else this.plot = this.make([x, y]);
        this.describe();
    }

    // Colours come from the page's own: they are asked anew.
    restyle(): void {
        this.plot?.destroy();
        this.plot = undefined;
        this.redraw();
    }

    private fit(): void {
        if (this.host.clientWidth === 0) return;
        this.plot?.setSize({width: this.host.clientWidth, height: 190});
        this.redraw();
    }

    private make(data: uPlot.AlignedData): uPlot {
        const ink = getComputedStyle(this.host).color;
        const line = getComputedStyle(this.host).getPropertyValue('--line').trim();
        // As the table has them: the day where it changes, and as many parts as the steps need.
        const dates = (_: uPlot, splits: number[], __: number, ___: number, step: number) => {
            let day = '';
            return splits.map((seconds) => {
                const [date, time] = timeText(Math.round(seconds * 1e6)).split(' ');
                if (step >= 86400) return step >= 2419200 ? date.slice(0, 7) : date;
                const clock = time.slice(0, step >= 60 ? 5 : step >= 1 ? 8 : 12);
                const line = date === day ? clock : `${clock}\n${date}`;
                day = date;
                return line;
            });
        };
        const axis = {stroke: ink, grid: {stroke: line, width: 1}, ticks: {stroke: line, width: 1}, font: '12px system-ui, sans-serif'};
        return new uPlot(
            {
                width: this.host.clientWidth,
                height: 190,
                padding: [26, 40, 0, 0],
                tzDate: (seconds) => uPlot.tzDate(new Date(seconds * 1000), 'Etc/UTC'),
                legend: {show: false},
                cursor: {y: false, points: {show: false}, drag: {x: true, y: false, setScale: false, dist: 4}},
                scales: {x: {time: true, range: () => this.view}, y: {range: (_, __, most) => [0, Math.max(most, 1)]}},
                series: [{}, {paths: () => null, points: {show: false}}],
                axes: [{...axis, values: dates, space: 76}, {...axis, size: (_, values) => 20 + 8 * Math.max(3, ...(values ?? []).map((value) => value.length)), incrs: [1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10000, 20000, 50000, 100000, 500000]}],
                hooks: {
                    drawClear: [(plot) => this.drawUnder(plot)],
                    draw: [(plot) => this.draw(plot)],
                    setSelect: [(plot) => this.take(plot)],
                    setCursor: [(plot) => this.read(plot.cursor.left! >= 0 ? plot.cursor.idx ?? -1 : -1)],
                },
            },
            data,
            this.host,
        );
    }

    private take(plot: uPlot): void {
        const {left, width} = plot.select;
        if (width === 0) return;
        const at = (place: number) => Math.round(plot.posToVal(place, 'x') * 1e6);
        plot.setSelect({left: 0, top: 0, width: 0, height: 0}, false);
        this.onspan(at(left), at(left + width));
    }

    // What is chosen, gaps of the log, and what log and journal cover.
    private drawUnder(plot: uPlot): void {
        const pen = plot.ctx;
        const {left, top, width, height} = plot.bbox;
        const at = (seconds: number) => Math.max(left, Math.min(left + width, plot.valToPos(seconds, 'x', true)));
        const style = getComputedStyle(this.host);
        pen.save();
        const [from, to] = this.span;
        if (from !== -Infinity || to !== Infinity) {
            pen.fillStyle = style.getPropertyValue('--chosen').trim();
            pen.fillRect(at(from / 1e6), top, at(to / 1e6) - at(from / 1e6), height);
        }
        const band = (begin: number, end: number, y: number, thick: number) => {
            if (begin <= this.view[1] && end >= this.view[0]) pen.fillRect(at(begin), y, Math.max(at(end) - at(begin), 2), thick);
        };
        const unit = devicePixelRatio;
        for (const {begin, end} of this.gaps()) {
            pen.fillStyle = pattern(other);
            pen.globalAlpha = 0.2;
            band(begin, end, top, height);
            pen.globalAlpha = 1;
            if (begin > this.view[1] || end < this.view[0]) continue;
            pen.fillStyle = style.color;
            pen.font = `${10 * unit}px system-ui, sans-serif`;
            pen.fillText('gap', at(begin) + 3 * unit, top + 11 * unit);
        }
        pen.fillStyle = style.color;
        this.covered().forEach(({label, begin, end}, place) => {
            const y = top - (11 + place * 9) * unit;
            pen.globalAlpha = 0.55;
            band(begin, end, y, 3 * unit);
            pen.globalAlpha = 1;
            if (end < this.view[0] || begin > this.view[1]) return;
            pen.font = `${9 * unit}px system-ui, sans-serif`;
            pen.textAlign = 'right';
            pen.textBaseline = 'middle';
            pen.fillText(label, left - 5 * unit, y + 1.5 * unit);
        });
        pen.restore();
    }

    private draw(plot: uPlot): void {
        const {begin, step, size, exact, open} = this.bins!;
        const pen = plot.ctx;
        const {left, top, width, height} = plot.bbox;
        const ink = getComputedStyle(this.host).color;
        pen.save();
        pen.beginPath();
        pen.rect(left, top, width, height);
        pen.clip();
        const fills = Array.from({length: other + 1}, (_, place) => pattern(place));
        for (let bin = 0; bin < size; ++bin) {
            const x = plot.valToPos(begin + bin * step, 'x', true);
            const wide = Math.max(plot.valToPos(begin + (bin + 1) * step, 'x', true) - x - 1, 1);
            let sum = 0;
            for (const [counts, inexact] of [[exact, false], [open, true]] as const) {
                for (let place = 0; place <= other; ++place) {
                    const value = counts[place][bin];
                    if (value === 0) continue;
                    const low = plot.valToPos(sum, 'y', true);
                    const high = plot.valToPos((sum += value), 'y', true);
                    pen.fillStyle = fills[place];
                    pen.globalAlpha = inexact ? 0.45 : 1;
                    pen.fillRect(x, high, wide, Math.max(low - high, 1));
                    pen.globalAlpha = 1;
                    if (!inexact || wide < 4) continue;
                    pen.setLineDash([3, 2]);
                    pen.strokeStyle = ink;
                    pen.strokeRect(x + 0.5, high + 0.5, wide - 1, Math.max(low - high - 1, 1));
                }
            }
        }
        this.drawMarks(plot, ink);
        pen.restore();
    }

    private drawMarks(plot: uPlot, ink: string): void {
        const pen = plot.ctx;
        const {top, height} = plot.bbox;
        const back = getComputedStyle(this.host).getPropertyValue('--back').trim();
        pen.strokeStyle = pen.fillStyle = ink;
        pen.font = `${10 * devicePixelRatio}px system-ui, sans-serif`;
        pen.textAlign = 'left';
        pen.textBaseline = 'top';
        const upright = (seconds: number, label: string, dash: number[]) => {
            const x = plot.valToPos(seconds, 'x', true);
            pen.setLineDash(dash);
            pen.beginPath();
            pen.moveTo(x, top);
            pen.lineTo(x, top + height);
            pen.stroke();
            pen.setLineDash([]);
            pen.lineWidth = 3;
            pen.strokeStyle = back;
            pen.strokeText(label, x + 4, top + 2);
            pen.lineWidth = 1;
            pen.strokeStyle = ink;
            pen.fillText(label, x + 4, top + 2);
        };
        const kinds = this.events.column('event');
        const times = this.events.column('time').numbers;
        const marked = Uint8Array.from(kinds.texts, (kind) => (markKinds.has(kind) ? 1 : 0));
        let last = -Infinity;
        if (marked.includes(1))
            for (const row of this.rows) {
                if (marked[kinds.ids[row]] === 0 || Number.isNaN(times[row])) continue;
                const x = plot.valToPos(times[row] / 1e6, 'x', true);
                upright(times[row] / 1e6, Math.abs(x - last) > 90 * devicePixelRatio ? plain(kinds.text(row)) : '', [4, 3]);
                last = x;
            }
        if (this.selected >= 0) {
            const begin = times[this.selected] / 1e6;
            const end = this.events.number('not_after', this.selected) / 1e6;
            if (!Number.isNaN(end) && !this.events.isExact(this.selected)) {
                pen.globalAlpha = 0.15;
                pen.fillRect(plot.valToPos(begin, 'x', true), top, plot.valToPos(end, 'x', true) - plot.valToPos(begin, 'x', true), height);
                pen.globalAlpha = 1;
            }
            upright(begin, '', []);
        }
    }

    private gaps(): {begin: number; end: number}[] {
        const seconds = (value: unknown, otherwise: number) => (typeof value === 'string' ? Date.parse(value) / 1000 : otherwise);
        return this.events.logs.flatMap(({coverage}) =>
            Array.isArray(coverage.gap) ? coverage.gap.map((gap) => {
                const {time_before, time_after} = (gap ?? {}) as {[key: string]: unknown};
                return {begin: seconds(time_before, this.whole[0]), end: seconds(time_after, this.whole[1])};
            }) : []);
    }

    private covered(): {label: string; begin: number; end: number}[] {
        const bands = [];
        if (this.events.logs.length !== 1) return [];
        for (const [label, names] of [['log', ['times_by_journal', 'times_by_record']], ['journal', ['journal_times']]] as const) {
            let begin = Infinity;
            let end = -Infinity;
            for (const name of names) {
                const range = this.events.logs[0].coverage[name] as {from?: string; to?: string} | undefined;
                begin = Math.min(begin, Date.parse(range?.from ?? '') / 1000 || Infinity);
                end = Math.max(end, Date.parse(range?.to ?? '') / 1000 || -Infinity);
            }
            if (begin <= end) bands.push({label, begin, end});
        }
        return bands;
    }

    private binWords(bin: number): string {
        const {begin, step, kinds} = this.bins!;
        const from = timeText(Math.round((begin + bin * step) * 1e6)).slice(0, step < 1 ? 23 : 19);
        const to = timeText(Math.round((begin + (bin + 1) * step) * 1e6)).slice(0, step < 1 ? 23 : 19);
        const parts = [...kinds].filter(([, counts]) => counts[bin] > 0).sort((a, b) => b[1][bin] - a[1][bin])
            .map(([kind, counts]) => `${plain(this.events.column('event').texts[kind])} ${count(counts[bin])}`);
        return `${from} to ${to.slice(0, 10) === from.slice(0, 10) ? to.slice(11) : to}: ${parts.length ? parts.join(', ') : 'no event'}`;
    }

    private read(bin: number): void {
        this.cursor = bin;
        byId('readout').textContent = bin >= 0 && this.bins ? this.binWords(bin) : this.rangeWords();
    }

    private rangeWords(): string {
        const at = (seconds: number) => timeText(Math.round(seconds * 1e6)).slice(0, 19);
        const [from, to] = this.span;
        const without = this.untimed === 0 ? '' : ` ${count(this.untimed, 'event')} without any time.`;
        const view = `Shown: ${at(this.view[0])} to ${at(this.view[1])} UTC.${without}`;
        if (from === -Infinity && to === Infinity) return `${view} Drag to choose a span, turn the wheel to zoom; dashed and pale: the time is an interval.`;
        return `${view} Chosen: ${timeText(from)} to ${timeText(to)}.`;
    }

    private describe(): void {
        if (this.cursor < 0) byId('readout').textContent = this.rangeWords();
        const details = byId<HTMLDetailsElement>('chart-table');
        if (!details.open) return;
        const {size} = this.bins!;
        const filled = Array.from({length: size}, (_, bin) => bin).filter((bin) => this.total(bin) > 0);
        const rows = filled.map((bin) => {
            const [when, kinds] = this.binWords(bin).split(/: (?=[^:]*$)/);
            return h('tr', {}, h('td', {}, when), h('td', {}, count(this.total(bin))), h('td', {}, kinds));
        });
        const head = h('tr', {}, ...['When (UTC)', 'Events', 'Kinds'].map((text) => h('th', {scope: 'col'}, text)));
        details.querySelector('div')!.replaceChildren(h('table', {class: 'plain'}, h('thead', {}, head), h('tbody', {}, ...rows)));
    }

    private listen(): void {
        this.host.addEventListener('wheel', (event) => {
            if (event.deltaY > 0 && this.view === this.whole) return; // the page goes on
            event.preventDefault();
            const over = this.host.querySelector('.u-over')?.getBoundingClientRect();
            if (!over || !this.plot) return;
            this.zoomBy(event.deltaY < 0 ? 0.8 : 1.25, this.plot.posToVal(event.clientX - over.left, 'x'));
        }, {passive: false});
        byId('chart-table').addEventListener('toggle', () => this.describe());
        this.host.addEventListener('keydown', (event) => {
            const bins = this.bins;
            if (!bins || event.ctrlKey || event.metaKey || event.altKey) return;
            const move = (by: number) => {
                const middle = Math.floor(((this.view[0] + this.view[1]) / 2 - bins.begin) / bins.step);
                const bin = Math.max(0, Math.min(bins.size - 1, this.cursor < 0 ? middle : this.cursor + by));
                this.plot?.setCursor({left: this.plot.valToPos(bins.begin + (bin + 0.5) * bins.step, 'x'), top: 10}, false);
                this.read(bin);
            };
            const choose = () => {
                if (this.cursor < 0) return;
                const begin = Math.round((bins.begin + this.cursor * bins.step) * 1e6);
                this.onspan(begin, begin + Math.round(bins.step * 1e6) - 1);
            };
            const actions: {[key: string]: () => void} = {
                ArrowLeft: () => (event.shiftKey ? this.pan(-0.25) : move(-1)),
                ArrowRight: () => (event.shiftKey ? this.pan(0.25) : move(1)),
                Enter: choose,
                '+': () => this.zoomBy(0.5),
                '-': () => this.zoomBy(2),
                '0': () => this.setZoom(undefined),
            };
            const action = actions[event.key];
            if (!action) return;
            event.preventDefault();
            event.stopPropagation();
            action();
        });
    }

    tools(): HTMLElement[] {
        return [
            button('Zoom in', () => this.zoomBy(0.5)),
            button('Zoom out', () => this.zoomBy(2)),
            button('Earlier', () => this.pan(-0.5)),
            button('Later', () => this.pan(0.5)),
            button('All', () => this.setZoom(undefined)),
            button('Choose what is shown', () => this.onspan(Math.round(this.view[0] * 1e6), Math.round(this.view[1] * 1e6))),
        ];
    }
    // For the address.
    zoomText(): string {
        return this.zoom ? this.zoom.map((seconds) => isoText(Math.round(seconds * 1e6))).join('..') : '';
    }
}
