#include <array>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>

#include "history/file_history.h"
#include "inputs/input_source.h"
#include "logfile/scanner.h"
#include "logfile/volume_geometry.h"
#include "mft/mft_reader.h"
#include "support/made_entry.h"
#include "support/mft_image.h"
#include "support/scratch_folder.h"

namespace kest {
namespace {

using namespace disk;

const bytes times = pack(u64{1}, u64{2}, u64{3}, u64{4}, u32{32}, at{72});
const bytes stream = resident(0x80, bytes(10, 'x'), {.id = 3});
const bytes runs = {0x11, 0x05, 0x20, 0x11, 0x03, 0x10, 0x00};
const bytes entry = pack(u64{41}, u16{0x60}, u16{0x4C}, u32{0}, name_image{}.value(), at{0x60});

bytes root_of(const bytes& entries) {
    return pack(u64{0}, u64{0}, u32{16}, static_cast<u32>(entries.size() + 32), static_cast<u32>(entries.size() + 32),
                u32{0}, entries, at{entries.size() + 44}, u16{2}, at{entries.size() + 48});
}

// A file record of the log, with its length where it belongs.
bytes image_of(const std::vector<bytes>& attributes, u16 flags = 1, u16 sequence = 1, u16 links = 1) {
    bytes image = file_record{.sequence = sequence, .flags = flags, .attributes = attributes}.image();
    std::size_t used = 72 + 8;
    for (const bytes& attribute : attributes)
        used += attribute.size();
    put(image, 18, links);
    put(image, 24, static_cast<u32>(used));
    put(image, 40, u16{9});  // the next identifier
    return image;
}

std::vector<bytes> with(const std::vector<bytes>& last) {
    std::vector<bytes> all{resident(0x10, times), name_image{}.attribute()};
    all.insert(all.end(), last.begin(), last.end());
    return all;
}

constexpr u16 second = 72 + 96;          // the name, after $STANDARD_INFORMATION
constexpr u16 third = second + 24 + 72;  // what stands after the name

// What of a state is in the attributes and in what the header says of the file.
bytes known_bytes(const replayed_record& record) {
    const auto known = record.bytes().bytes();
    bytes out(known.begin(), known.end());
    const u32 used = record.bytes().u32(24);
    out.resize(std::min<std::size_t>(used, out.size()));
    return part(out, 16, 28);
}

replayed_record record_of(const bytes& image) {
    replayed_record record(1024);
    record.load(std::span(image));
    return record;
}

record step_at(u16 place, u16 redo_op, u16 undo_op, u16 offset, const bytes& redo, const bytes& undo = {}) {
    return {.redo_op = redo_op,
            .undo_op = undo_op,
            .record_offset = place,
            .attribute_offset = offset,
            .redo = redo,
            .undo = undo};
}

TEST(replayed_record, does_and_undoes_what_a_step_says) {
    const bytes sizes = pack(u64{8192}, u64{5000}, u64{6000});  // allocated, valid, of the file
    const bytes old_sizes = pack(u64{4096}, u64{4096}, u64{10});
    const auto longer = [](std::size_t size) { return resident(0x80, bytes(size, 'x'), {.id = 3}); };
    const auto mapped = [](const bytes& list, u64 last) {
        return nonresident(0x80, list, {.last_vcn = last, .allocated_size = 4096, .real_size = 10});
    };
    const auto sized =
        nonresident(0x80, runs, {.last_vcn = 7, .allocated_size = 8192, .real_size = 6000, .initialized_size = 5000});
    const auto index = [](const bytes& entries) { return resident(0x90, root_of(entries)); };
    struct row {
        const char* what;
        record step;
        bytes before, after;
    };
    const row rows[] = {
        {"an attribute comes", step_at(third, 5, 6, 0, stream), image_of(with({})), image_of(with({stream}))},
        {"a name goes", step_at(second, 6, 5, 0, {}, name_image{}.attribute()), image_of(with({stream})),
         image_of({resident(0x10, times), stream}, 1, 1, 0)},
        {"a value within", step_at(third, 7, 7, 24, {'y'}, {'x'}), image_of(with({stream})),
         image_of(with({resident(0x80, pack(u8{'y'}, bytes(9, 'x')), {.id = 3})}))},
        {"a value grows", step_at(third, 7, 7, 34, bytes(20, 'x')), image_of(with({stream, stream})),
         image_of(with({longer(30), stream}))},
        {"a value shrinks", step_at(third, 7, 7, 25, {}, bytes(9, 'x')), image_of(with({stream, stream})),
         image_of(with({longer(1), stream}))},
        {"an empty value grows", step_at(third, 7, 7, 24, bytes(9, 'x')), image_of(with({longer(0), stream})),
         image_of(with({longer(9), stream}))},
        {"runs are added", step_at(third, 9, 9, 67, part(runs, 3), bytes(5, 0)),
         image_of(with({mapped(part(runs, 0, 3), 4), stream})), image_of(with({mapped(runs, 7), stream}))},
        {"sizes", step_at(third, 11, 11, 0, sizes, old_sizes), image_of(with({mapped(runs, 7)})),
         image_of(with({sized}))},
        {"an entry comes", step_at(third, 12, 13, 56, entry), image_of(with({index({}), stream})),
         image_of(with({index(entry), stream}))},
        {"an entry goes", step_at(third, 13, 12, 56, {}, entry), image_of(with({index(entry), stream})),
         image_of(with({index({}), stream}))},
        {"an entry gets a subnode", step_at(third, 17, 17, 56, pack(u64{5}), bytes(8)), image_of(with({index(entry)})),
         image_of(with({index(pack(part(entry, 0, 88), u64{5}))}))},
        {"times in an entry", step_at(third, 19, 19, 56, bytes(56, 7), part(entry, 24, 80)),
         image_of(with({index(entry)})),
         image_of(with({index(pack(part(entry, 0, 24), bytes(56, 7), part(entry, 80)))}))},
        {"data of an entry, from its 41st byte on", step_at(third, 33, 33, 56, bytes(7, 7), bytes(7)),
         image_of(with({index(entry)})),
         image_of(with({index(pack(part(entry, 0, 41), bytes(7, 7), part(entry, 48)))}))},
        {"zeros after the end", step_at(third + 8, 37, 0, 0, {}), image_of(with({})), image_of(with({}))},
        {"it is freed",
         {.redo_op = 3, .undo_op = 2, .undo = part(image_of(with({}), 3, 0xFFFF), 0, 24)},
         image_of(with({}), 3, 0xFFFF),
         image_of(with({}), 2, 1)},
        {"the end is written", step_at(third, 4, 4, 0, pack(stream, u32{~0U}, u32{0}), pack(u32{~0U}, u32{0})),
         image_of(with({})), image_of(with({stream}))},
    };
    for (const row& t : rows) {
        SCOPED_TRACE(t.what);
        const bytes log = t.step.image();
        const record_step step(make_log_entry(uni::byte_view(std::span(log))));
        const replayed_record before = record_of(t.before), after = record_of(t.after);
        replayed_record forward = before;
        forward.learn_before(step);
        forward.redo(step);
        replayed_record back = after;
        back.learn_after(step);
        back.undo(step);
        for (const auto& [replayed, wanted] : {std::pair(&forward, &after), {&back, &before}}) {
            EXPECT_TRUE(replayed->complete());
            EXPECT_EQ(known_bytes(*replayed), known_bytes(*wanted));
            EXPECT_FALSE(compare_with_copy(*replayed, *wanted).differs);
        }
    }
}

TEST(replayed_record, knows_nothing_after_what_does_not_fit) {
    const std::pair<const char*, record> rows[] = {
        {"no attribute begins there", step_at(third + 8, 5, 6, 0, stream)},
        {"not in steps of 8", step_at(third + 4, 5, 6, 0, stream)},
        {"after the record", step_at(1016, 7, 7, 24, bytes(9), bytes(9))},
        {"after the attributes", step_at(512, 11, 11, 0, bytes(24), bytes(24))},
        {"no room", step_at(third, 7, 7, 34, bytes(900))},
        {"another name was there", step_at(second, 6, 5, 0, {}, name_image{.name = u"b"}.attribute())},
        {"another byte was there", step_at(second, 7, 7, 90, {'y'}, {'z'})},
        {"a length that lies", step_at(third, 7, 7, 24, bytes(5), bytes(200))},
        {"undone by what does not undo it", step_at(third, 5, 5, 0, stream)},
        {"an entry longer than its data", step_at(third + 40, 12, 13, 56, part(entry, 0, 80))},
        {"freed while it is free", {.redo_op = 0, .undo_op = 3}},
        {"an entry in data", step_at(third, 12, 13, 24, entry)},
        {"sizes of what lies in the record", step_at(third, 11, 11, 0, bytes(24))},
        {"zeros in its midst", step_at(third, 37, 0, 0, {})},
    };
    const bytes image = image_of(with({stream, resident(0x90, root_of({}))}));
    for (const auto& [what, one] : rows) {
        SCOPED_TRACE(what);
        const bytes log = one.image();
        const record_step step(make_log_entry(uni::byte_view(std::span(log))));
        replayed_record record(1024);
        record.load(std::span(image));
        record.learn_before(step);
        record.redo(step);
        EXPECT_FALSE(record.complete());
        EXPECT_FALSE(record.knows(16, 2));
    }
}

// What is said of another kind of attribute than the one that lies there shows neither.
TEST(replayed_record, learns_nothing_from_what_is_of_another_attribute) {
    const bytes image = image_of(with({stream}));
    for (const record& one : {step_at(third, 11, 11, 0, bytes(24), bytes(24)), step_at(third, 13, 12, 24, {}, entry)}) {
        const bytes log = one.image();
        replayed_record record = record_of(image);
        EXPECT_FALSE(record.learn_before(record_step(make_log_entry(uni::byte_view(std::span(log))))));
        EXPECT_EQ(record.attribute_at(third), 0U);
        EXPECT_FALSE(record.knows(third + 24, 1));
    }
}

// Newer systems state how long the data are that they write to a file, and leave them out.
TEST(replayed_record, does_not_know_data_that_a_step_leaves_out) {
    record one = step_at(third, 7, 7, 25, {});
    one.redo_length = one.undo_length = 4;
    const bytes log = one.image();
    replayed_record record = record_of(image_of(with({stream})));
    record.redo(record_step(make_log_entry(uni::byte_view(std::span(log)))));
    EXPECT_TRUE(record.knows(third + 24, 1) && record.knows(third + 29, 5));
    for (u16 place = third + 25; place < third + 29; ++place)
        EXPECT_FALSE(record.knows_byte(place)) << place - third;
}

TEST(replayed_record, is_held_against_a_copy_by_what_it_knows) {
    const auto over = [](bytes image, std::size_t offset, const bytes& edit) {
        lay(image, offset, edit);
        return image;
    };
    const bytes hidden(4, 0xFF);
    const u16 root = third + static_cast<u16>(stream.size()), beside_name = root + 24 + 32 + 16 + 16;
    const bytes whole = over(image_of(with({stream, resident(0x90, root_of(entry))})), root + 24, {0x30});
    const u16 data = third + 24;
    const auto part = [](record_part one) { return static_cast<std::uint16_t>(one); };
    struct row {
        const char* what;
        bytes copy;
        bool lags;
        std::uint16_t parts;
    };
    const row rows[] = {
        {"as it was", whole, false, 0},
        {"an attribute hidden by an end", over(whole, third, hidden), false, part(record_part::attributes)},
        {"the first one", over(whole, 72, hidden), false, part(record_part::attributes)},
        {"of no length", over(whole, second + 4, bytes(4)), false, part(record_part::attributes)},
        {"of a length beyond", over(whole, second + 4, pack(u32{0x4000})), false, part(record_part::attributes)},
        {"of a length that is no multiple of 8", over(whole, second + 4, {97}), false, part(record_part::attributes)},
        {"one more at the end", over(whole, uni::byte_view(std::span(whole)).u32(24) - 8, {0x80, 0, 0, 0}), false,
         part(record_part::attributes)},
        {"the base record", over(whole, 32, {7}), false, part(record_part::base_record)},
        {"the next identifier", over(whole, 40, {10}), false, part(record_part::header)},
        {"times and links", over(over(whole, 72 + 24, {9}), 18, {7}), false,
         static_cast<std::uint16_t>(part(record_part::times) | part(record_part::links))},
        {"times beside a name", over(whole, beside_name, {9}), false, part(record_part::attributes)},
        {"times that may be later", over(whole, beside_name, {9}), true, 0},
        {"a name that may not", over(whole, beside_name + 50, {9}), true, part(record_part::attributes)},
        {"data that the log need not have", over(whole, data + 1, {'z'}), false, 0},
        {"data that it wrote", over(whole, data, {'z'}), false, part(record_part::data)},
    };
    const bytes wrote = step_at(third, 7, 7, 24, {'x'}, {'y'}).image();
    const record_step step(make_log_entry(uni::byte_view(std::span(wrote))));
    replayed_record replayed = record_of(over(whole, data, {'y'}));
    replayed.redo(step);
    for (const row& t : rows) {
        const copy_comparison found = compare_with_copy(replayed, record_of(t.copy), t.lags);
        EXPECT_EQ(found.parts, t.parts) << t.what;
        EXPECT_EQ(found.differs, t.parts != 0) << t.what;
    }
}

TEST(replayed_record, knows_where_runs_begin_by_what_is_written_there) {
    const bytes list = {0x11, 0x05, 0x20, 0};
    const std::tuple<const char*, u16, std::size_t, bool> rows[] = {{"no total of compressed clusters", 64, 24, true},
                                                                    {"one, and runs right after it", 72, 32, true},
                                                                    {"runs somewhere after it", 80, 32, false},
                                                                    {"it is not known", 72, 24, false}};
    for (const auto& [what, offset, sizes, known] : rows) {
        replayed_record record(1024);
        for (const bytes& log : {step_at(third, 11, 11, 0, bytes(sizes), bytes(sizes)).image(),
                                 step_at(third, 9, 9, offset, bytes(4), list).image()}) {
            record.learn_before(record_step(make_log_entry(uni::byte_view(std::span(log)))));
        }
        auto found = record.runs_of(third);
        const bool read = found && found->next() && found->lcn() == 0x20 && found->vcn() == 0;
        EXPECT_EQ(read, known) << what;
    }
}

TEST(file_history, tells_what_each_transaction_changed) {
    const bytes birth = image_of(with({stream}));
    const auto name_b = name_image{.name = u"b"}.attribute();
    const auto at_file = [](u64 vcn, record r) {
        r.vcn = vcn;
        return r;
    };
    const bytes image = log_of_pages({
        at_file(10, {.lsn = 8, .redo_op = 0, .undo_op = 3}),
        at_file(10, {.lsn = 16, .previous = 8, .redo_op = 2, .redo = birth}),
        at_file(10, {.lsn = 24,
                     .redo_op = 7,
                     .undo_op = 7,
                     .record_offset = 72,
                     .attribute_offset = 32,
                     .redo = {9},
                     .undo = {2}}),
        at_file(10, {.lsn = 32,
                     .previous = 24,
                     .redo_op = 7,
                     .undo_op = 1,
                     .record_offset = 72,
                     .attribute_offset = 32,
                     .redo = {2}}),
        at_file(10, {.lsn = 40, .redo_op = 6, .undo_op = 5, .record_offset = second, .undo = name_image{}.attribute()}),
        at_file(10, {.lsn = 48, .previous = 40, .redo_op = 5, .undo_op = 6, .record_offset = second, .redo = name_b}),
        at_file(11, {.lsn = 56,
                     .redo_op = 7,
                     .undo_op = 7,
                     .record_offset = 56,
                     .attribute_offset = 56,
                     .redo = pack(u32{33}),
                     .undo = pack(u32{32})}),
        at_file(11, {.lsn = 64,
                     .redo_op = 11,
                     .undo_op = 11,
                     .record_offset = 256,
                     .redo = pack(u64{8192}, u64{5000}, u64{6000}),
                     .undo = pack(u64{4096}, u64{10}, u64{20})}),
        at_file(10, {.lsn = 72, .redo_op = 3, .undo_op = 2, .undo = part(birth, 0, 24)}),
    });
    log_store log;
    ASSERT_TRUE(scan_buffer(log, std::span(image)));
    ASSERT_EQ(log.entries.size(), 9u);
    transaction_states states;
    states.of_chain.resize(log.chain_heads.size());
    states.rolled_back.resize(log.entries.size());
    states.rolled_back[2] = true;
    const _inode_collection none;
    const log_facts facts(log, states, {});
    const file_history history({log, states.rolled_back, facts, none, find_volume_geometry(log)});
    ASSERT_EQ(history.changes().size(), 6u);
    const auto change = [&](std::size_t at) -> const record_change& { return history.changes()[at]; };

    EXPECT_EQ(change(0).number, 40u);
    EXPECT_EQ(change(0).before->in_use, false);
    EXPECT_EQ(*change(0).after, (record_header{1, 1, true, false, inode_ref{}}));
    ASSERT_EQ(history.attributes_of(change(0)).size(), 2u);
    EXPECT_EQ(history.attributes_of(change(0))[0].before.present, presence::absent);
    EXPECT_EQ(history.attributes_of(change(0))[1].after.file_size, 10u);
    EXPECT_TRUE(change(1).rolled_back);
    EXPECT_EQ(history.standard_of(change(1))->before.times[1].whole(), 2u);
    EXPECT_EQ(history.standard_of(change(1))->after.times[1].whole(), 9u);
    ASSERT_EQ(history.attributes_of(change(2)).size(), 2u);
    EXPECT_EQ(history.attributes_of(change(2))[0].after.present, presence::absent);
    EXPECT_EQ(history.attributes_of(change(2))[1].after.file_name()->name().u8(0), 'b');
    EXPECT_EQ(history.standard_of(change(3))->before.flags.whole(), 32u);
    EXPECT_EQ(history.standard_of(change(3))->after.flags.whole(), 33u);
    EXPECT_FALSE(history.standard_of(change(3))->after.times[0].whole());
    EXPECT_FALSE(history.attributes_of(change(4))[0].type());
    EXPECT_EQ(history.attributes_of(change(4))[0].before.file_size, 20u);
    EXPECT_EQ(history.attributes_of(change(4))[0].after.valid_length, 5000u);
    EXPECT_EQ(*change(5).after, (record_header{2, 1, false, false, inode_ref{}}));
    EXPECT_EQ(history.attributes_of(change(5))[0].before.file_name()->name().u8(0), 'b');

    const file_timeline& timeline = history.timeline();
    const inode_ref file(40, 1);
    EXPECT_EQ(timeline.name(file, 32)->units().u8(0), 'a');
    EXPECT_EQ(timeline.name(file, 48)->units().u8(0), 'b');
    EXPECT_EQ(timeline.holder(40, 64)->sequence, 1);
    EXPECT_EQ(timeline.holder(40, 80)->in_use, false);
}

// The budget is spent by how many changes there are, though their states and keys may be alike and kept once.
TEST(file_history, keeps_as_many_changes_of_attributes_as_their_log_pays_for) {
    std::vector<record> steps;
    for (u32 step = 0; step < 320; ++step) {
        std::vector<bytes> attributes;
        for (u32 at = 0; at < 38; ++at)
            attributes.push_back(resident(0x1000 + 16 * (at + step % 2 * 64), {}, {.id = static_cast<u16>(at + 1)}));
        bytes birth = image_of(attributes);
        lay(birth, 510, part(birth, 50, 52));  // the log has no protected sectors
        steps.push_back({.lsn = 8 * (step + 1), .redo_op = 2, .block_size = 2, .vcn = 10, .redo = birth});
    }
    const bytes image = log_of_pages(steps);
    log_store log;
    ASSERT_TRUE(scan_buffer(log, std::span(image)));
    ASSERT_EQ(log.chain_heads.size(), steps.size());
    transaction_states states;
    states.of_chain.resize(log.chain_heads.size());
    states.rolled_back.resize(log.entries.size());
    const log_facts facts(log, states, {});
    const file_history history({log, states.rolled_back, facts, {}, find_volume_geometry(log)});
    EXPECT_TRUE(history.limits_hit());
}

struct tally {
    std::size_t compared = 0, differing = 0, content = 0;
};

// Holds what the log by itself leaves against the copy.
tally compare(const std::string& log_path, const std::string& mft_path, std::uint32_t& odd) {
    log_store log;
    _inode_collection inodes;
    log.keeps_pages = true;
    scan_logfile(log, *open_source({log_path}).bytes);
    complete_log(log);
    EXPECT_TRUE(load_mft(inodes, open_source({mft_path}).bytes));
    transaction_states states;
    states.of_chain.resize(log.chain_heads.size());
    states.rolled_back.resize(log.entries.size());
    const log_facts facts(log, states, {});
    tally sum;
    const copy_check check = [&](const copied_record& record, const copy_comparison& one) {
        ++sum.compared;
        sum.differing += one.differs;
        sum.content += one.differs_in_unlogged;
        if (one.differs) odd = static_cast<std::uint32_t>(record.number);
    };
    compare_copies({log, states.rolled_back, facts, inodes, find_volume_geometry(log), check});
    return sum;
}

TEST(file_history, replays_what_the_mft_holds) {
    std::uint32_t odd = 0;
    const std::string folder = KEST_SAMPLES "/";
    const tally bundled = compare(folder + "LogFile", folder + "MFT", odd);
    EXPECT_EQ(bundled.compared, 8u);
    EXPECT_EQ(bundled.differing, 0u) << odd;
}

// What is not known hides a contradiction: so each record is replayed backward from the copy, and then forward with
// that.
TEST(file_history, meets_no_contradiction_in_the_sample) {
    log_store log;
    _inode_collection inodes;
    scan_logfile(log, *open_source({KEST_SAMPLES "/LogFile"}).bytes);
    ASSERT_TRUE(load_mft(inodes, open_source({KEST_SAMPLES "/MFT"}).bytes));
    std::map<std::uint64_t, std::map<std::uint64_t, record_step>> records;
    for (const log_entry& one : log.entries) {
        const bool changes = target_of(one.redo_op()) == operation_target::file_record || one.undo_op() == 3;
        if (changes) records[file_record_at(one, {4096, 1024})][one.this_lsn()] = record_step(one);
    }
    EXPECT_EQ(records.size(), 12u);
    for (const auto& [number, steps] : records) {
        std::vector<replayed_record> known(steps.size() + 1, replayed_record(1024));
        const bytes copy = read_record(inodes, number);
        if (uni::byte_view(std::span(copy)).u64(8) == steps.rbegin()->first) known.back().load(std::span(copy), true);
        std::size_t at = steps.size();
        for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
            replayed_record& before = known[at - 1] = known[at];
            --at;
            EXPECT_TRUE(before.learn_after(step->second)) << step->first;
            const std::uint32_t forgot = before.generation();
            before.undo(step->second);
            EXPECT_TRUE(step->second.undo.operation < 3 || before.generation() == forgot) << step->first;
            if (step->second.undo.operation < 2 && step->second.redo.operation != 37) before.forget();
        }
        replayed_record now = known[0];
        for (const auto& [lsn, step] : steps) {
            EXPECT_TRUE(now.learn_before(step)) << lsn;
            const std::uint32_t forgot = now.generation();
            now.redo(step);
            now.merge(known[++at]);
            EXPECT_TRUE(step.redo.operation == 2 || now.generation() == forgot) << lsn;
        }
    }
}

TEST(file_history, replays_what_public_mfts_hold) {
    struct row {
        const char* image;
        std::size_t compared, differing, content;
    };
    const row rows[] = {{"dftt7-undel", 26, 0, 0},
                        {"dftt8-jpeg", 39, 0, 0},
                        {"win-orc-vhd", 22, 0, 0},
                        {"win-plaso-vsstest", 251, 0, 3},
                        {"win-tiny-512-clusters", 251, 0, 9},
                        {"win-v2-1k-clusters", 37, 0, 0},
                        {"win-vhdx-small", 30, 0, 0},
                        {"win10-20h1-usn", 51, 0, 0},
                        {"win10-2m-clusters", 26, 0, 0},
                        {"win2003-vss", 86, 0, 0}};
    const char* const named = std::getenv("KEST_PUBLIC_IMAGES");
    std::vector<std::string> folders;
    if (named != nullptr) folders.emplace_back(named);
    std::error_code none;
    for (const auto& beside : std::filesystem::directory_iterator(KEST_SAMPLES "/../..", none))
        folders.push_back(beside.path().string() + "/samples");
    const scratch_folder scratch;
    bool found = false;
    for (const row& t : rows) {
        SCOPED_TRACE(t.image);
        for (const std::string& folder : folders) {
            const std::filesystem::path image = std::filesystem::path(folder) / t.image;
            if (!std::filesystem::is_directory(image, none)) continue;
            for (const std::string file : {"LogFile", "MFT"}) {
                const std::string packed = (image / file).string();
                if (std::filesystem::exists(packed))
                    std::filesystem::copy_file(packed, scratch.at(file),
                                               std::filesystem::copy_options::overwrite_existing);
                else if (!unpack(packed + ".xz", scratch.at(file)))
                    GTEST_SKIP() << "no xz";
            }
            std::uint32_t odd = 0;
            const tally sum = compare(scratch.at("LogFile"), scratch.at("MFT"), odd);
            EXPECT_GE(sum.compared, t.compared);
            EXPECT_EQ(sum.differing, t.differing) << odd;
            EXPECT_EQ(sum.content, t.content);
            found = true;
            break;
        }
    }
    if (!found) GTEST_SKIP() << "no images";
}

}  // namespace
}  // namespace kest
