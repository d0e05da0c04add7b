// Elements are made here and nowhere else. Whatever comes from the data only ever becomes text.

type Child = Node | string | null | false | undefined;
type Properties = {[name: string]: string | boolean | number | ((event: never) => void) | undefined};

export function h<Name extends keyof HTMLElementTagNameMap>(
    name: Name,
    properties: Properties = {},
    ...children: Child[]
): HTMLElementTagNameMap[Name] {
    const element = document.createElement(name);
    for (const [key, value] of Object.entries(properties)) {
        if (value === undefined || value === false) continue;
        if (typeof value === 'function') element.addEventListener(key.slice(2), value as EventListener);
        else if (key === 'value') (element as HTMLInputElement).value = String(value);
        else element.setAttribute(key, value === true ? '' : String(value));
    }
    element.append(...present(children));
    return element;
}

const present = (children: Child[]) =>
    children.filter((child): child is Node | string => child instanceof Node || typeof child === 'string');
export const fill = (host: Element, ...children: Child[]): void => host.replaceChildren(...present(children));

// A name or path. It breaks after separators, where it is copied without a trace.
export const name = (path: string, style = 'name'): HTMLElement =>
    h('span', {class: style}, ...path.split(/(?<=\\)/).flatMap((part) => [part, h('wbr')]).slice(0, -1));

export function byId<Kind extends HTMLElement = HTMLElement>(id: string): Kind {
    return document.getElementById(id) as Kind;
}

export const button = (label: string, onclick: () => void, properties: Properties = {}): HTMLButtonElement =>
    h('button', {type: 'button', onclick, ...properties}, label);

// "1 event", "12,345 events"
export const count = (value: number, noun = ''): string =>
    `${value.toLocaleString('en-US')}${noun === '' ? '' : ` ${noun}${value === 1 ? '' : 's'}`}`;

let announced: number | undefined;
// Says it to whoever listens instead of looking.
export function announce(words: string): void {
    window.clearTimeout(announced);
    announced = window.setTimeout(() => (byId('announced').textContent = words), 150);
}

// Hands a text to the browser as a file.
export function download(name: string, type: string, parts: BlobPart[]): void {
    const address = URL.createObjectURL(new Blob(parts, {type}));
    h('a', {href: address, download: name}).click();
    window.setTimeout(() => URL.revokeObjectURL(address), 60_000);
}
