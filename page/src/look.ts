// What an examiner would look at first. Lists, no scores: each says why it is there, and what innocent causes there are.

import {type Events} from './data';
import {button, count, fill, h} from './dom';
import {eventItem} from './detail';

const minute = 60 * 1e6; // microseconds
const shortLife = 5 * minute;
const mostListed = 100;

interface Rule {
    title: string;
    why: string;
    innocent: string;
    kind?: string; // all events of this kind
    find?: (events: Events) => number[];
}

const ofKind = (events: Events, kind: string): number[] => {
    const {ids, texts} = events.column('event');
    const wanted = texts.indexOf(kind);
    const rows: number[] = [];
    if (wanted > 0) ids.forEach((id, row) => id === wanted && rows.push(row));
    return rows;
};

// Deletions of files that were made within minutes before, even if they were made as early and deleted as late as can be.
function shortLived(events: Events): number[] {
    const [inodes, seqs, times, volumes] = ['inode', 'seq', 'time', 'volume'].map((name) => events.column(name));
    const key = (row: number) => `${inodes.numbers[row]}-${seqs.numbers[row]}-${volumes.ids[row]}`;
    const made = new Map<string, number>();
    for (const row of ofKind(events, 'created')) if (events.text('state', row) !== 'undone') made.set(key(row), times.numbers[row]);
    return ofKind(events, 'deleted').filter((row) => {
        const age = (events.isExact(row) ? times.numbers[row] : events.number('not_after', row)) - (made.get(key(row)) ?? NaN);
        return events.text('state', row) !== 'undone' && events.text('type', row) !== 'folder' && age >= 0 && age <= shortLife;
    });
}

const stillFree = (events: Events): number[] =>
    ofKind(events, 'deleted').filter((row) => /"free_at_end":"(all|part)"/.test(events.column('details').objectText(row)));

const rules: Rule[] = [
    {
        title: 'Times that a program set',
        kind: 'times_set',
        why: 'Times of a file were changed to values that are not those of the moment. Whoever wants a file to look older does this.',
        innocent: 'Archivers, synchronising, backups and restoring set times of files that were there before, too: look at what else was done to the file and in its folder.',
    },
    {
        title: 'File records that differ from what the log wrote last',
        kind: 'mft_differs',
        why: 'The copy of the MFT holds other times, names, sizes or runs than the last change in the log left. It may have been edited past the file system.',
        innocent: 'A log and an MFT that were copied at different moments from a running system, a gap in the log, and changes that are not logged.',
    },
    {
        title: 'Change journal deleted',
        kind: 'journal_deleted',
        why: 'With the journal the record of what was done to files goes. It takes an administrator and one command.',
        innocent: 'Some backup, imaging and maintenance programs delete and create it anew.',
    },
    {
        title: 'Clock set back',
        kind: 'clock_set_back',
        why: 'Times fall while the log goes on: what follows may bear earlier times than it had.',
        innocent: 'A clock that was wrong and was corrected, another operating system that keeps local time, a virtual machine that was resumed.',
    },
    {
        title: 'Files that got older times as soon as they were made',
        kind: 'times_copied',
        why: 'These are copies, or came out of an archive: they show what came from elsewhere, and when.',
        innocent: 'Nearly all of them. Whoever sets times back as quickly as a copy does looks the same.',
    },
    {
        title: 'Files made and deleted within five minutes',
        find: shortLived,
        why: 'Tools, their output and what was staged for transfer often live as briefly as that.',
        innocent: 'Most programs make temporary files. Look for names and folders that no program of the system uses.',
    },
    {
        title: 'Deleted files whose clusters are still free',
        find: stillFree,
        why: 'No later record of the log gave the clusters to another file: the contents may still be in the image.',
        innocent: 'That a file was deleted says nothing by itself. Clusters may have been used again after the log ends, or erased by the drive.',
    },
];

export function buildLook(host: HTMLElement, events: Events, open: (row: number) => void, choose: (kind: string) => void): void {
    const found = rules.map((rule) => ({rule, rows: rule.find ? rule.find(events) : ofKind(events, rule.kind!)}));
    const nothing = found.filter(({rows}) => rows.length === 0).map(({rule}) => rule.title.toLowerCase());
    const sections = found.filter(({rows}) => rows.length > 0).map(({rule, rows}) => {
        const shown = rows.slice(0, mostListed);
        return h('section', {class: 'rule'},
            h('h3', {}, `${rule.title}: `, h('span', {class: 'number'}, count(rows.length))),
            h('p', {}, h('b', {}, 'Why it is here: '), rule.why),
            h('p', {}, h('b', {}, 'Innocent causes: '), rule.innocent),
            h('ol', {class: 'events'}, ...shown.map((row) => eventItem(events, row, open))),
            shown.length < rows.length && h('p', {class: 'quiet'}, `The first ${count(shown.length)} are shown.`),
            rule.kind !== undefined && button('Show them in the table', () => choose(rule.kind!)));
    });
    fill(host, h('h2', {}, 'Worth a look'),
        h('p', {class: 'quiet'}, 'These are places to begin, and no findings. What is listed may be innocent; what is not may matter.'), ...sections,
        nothing.length > 0 && h('p', {class: 'rule'}, `Nothing was found of: ${nothing.join('; ')}. File records are compared only with an MFT, and clusters are known only where the log shows $Bitmap.`));
}
