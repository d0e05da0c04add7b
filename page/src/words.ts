// Words for people. A field that is not here is shown under its own name.

const titles: {[field: string]: string} = {
    time: 'Time (UTC)',
    not_after: 'Not after (UTC)',
    clock: 'Clock',
    event: 'Event',
    state: 'State',
    path: 'Path',
    old_path: 'Old path',
    name_hex: 'Name, UTF-16 bytes',
    old_name_hex: 'Old name, UTF-16 bytes',
    type: 'Type',
    known: 'Name known from',
    source: 'Source',
    inode: 'File record',
    seq: 'Sequence',
    parent: 'Folder record',
    parent_seq: 'Folder sequence',
    lsn: 'LSN',
    offset: 'Offset in the file',
    cut: 'Transaction cut',
    reason: 'Journal reason',
    volume: 'Volume',
    file: 'Evidence file',
    timestamp_desc: 'What the time rests on',
};

export const plain = (word: string): string => word.replaceAll('_', ' ');
const capital = (words: string): string => words.charAt(0).toUpperCase() + words.slice(1);
export const title = (field: string): string => titles[field] ?? capital(plain(field));

const states: {[state: string]: string} = {
    done: 'done: the transaction was committed',
    open: 'open: the log does not say how the transaction ended',
    undone: 'undone: the transaction was rolled back',
};
export const stateWords = (state: string): string => states[state] ?? plain(state);
