#include "driver/image_runs.h"

#include <algorithm>

#include "format/number.h"
#include "mft/mft_reader.h"
#include "options/warning_line.h"
#include "portable/console.h"

namespace kest {

namespace {

void say_opening_failed(const disk_image& image, std::string_view reason) {
    uni::console_write(warning_line(with_reason("prob opening image", reason), image.path));
}

bool is_wanted(const logfile_options& options, const volume_place& volume) {
    return !options.partition || volume.partition == options.partition;
}

// Whatever the options say: a report on a damaged volume lacks something.
void say_damage(const std::string& name, const volume_streams& streams) {
    for (const std::string& note : streams.notes)
        uni::console_write(warning_line(note, name));
}

// The numbers of the partitions with volumes, for somebody who has to choose.
std::string partitions_of(const disk_image& image) {
    std::string text;
    for (const volume_place& volume : image.volumes) {
        if (volume.partition) append_decimal(text.append(text.empty() ? "" : ", "), *volume.partition);
    }
    return text;
}

// Null, which has been said, if it is not one volume that is meant.
const volume_place* choose_volume(const logfile_options& options, const disk_image& image) {
    const auto wanted = [&options](const volume_place& volume) { return is_wanted(options, volume); };
    if (image.volumes.empty()) {
        say_opening_failed(image, "no NTFS volume");
        return nullptr;
    }
    const auto first = std::ranges::find_if(image.volumes, wanted);
    if (first == image.volumes.end()) {
        const std::string there = partitions_of(image);
        say_opening_failed(
            image, there.empty() ? "one volume without partitions" : "no such NTFS partition: there are " + there);
        return nullptr;
    }
    if (std::ranges::count_if(image.volumes, wanted) > 1) {
        say_opening_failed(image, "several volumes: -partition " + partitions_of(image));
        return nullptr;
    }
    return &*first;
}

input_source source_of(const std::shared_ptr<const image_stream>& stream, std::string path) {
    return stream ? input_source{std::move(path), stream} : input_source{};
}

}  // namespace

bool open_image_of_run(const logfile_options& options, const run_outputs& outputs, disk_image& image) {
    image = open_image(options.image_path);
    if (!image.bytes.source) say_opening_failed(image, image.error);
    const bool written =
        std::ranges::any_of(image.files, [&outputs](const std::string& path) { return outputs.hold(path); });
    return image.bytes.source && !written;
}

bool take_volume(logfile_options& options, const disk_image& image, bool& damaged) {
    const volume_place* const volume = choose_volume(options, image);
    if (volume == nullptr) return false;
    const std::string name = volume_name(image, *volume);
    volume_streams streams = open_streams(image.bytes, *volume);
    if (streams.mft && !load_mft(*std::make_unique<_inode_collection>(), streams.mft)) {
        streams.notes.emplace_back("$MFT begins with no file record: not read");
        streams.mft = nullptr;
    }
    say_damage(name, streams);
    damaged = !streams.notes.empty();
    options.log = source_of(streams.log, name + "/$LogFile");
    options.mft = source_of(streams.mft, name + "/$MFT");
    options.journal = source_of(streams.journal, name + "/$Extend/$UsnJrnl:$J");
    options.have_log = options.log.given();
    options.have_mft = options.mft.given();
    options.have_jrnl = options.journal.given();
    return options.has_source();
}

bool list_volumes(const logfile_options& options, const disk_image& image, volume_table& table, bool& damaged) {
    bool any = false;
    for (const volume_place& volume : image.volumes) {
        if (!is_wanted(options, volume)) continue;
        any = true;
        const volume_streams streams = open_streams(image.bytes, volume);
        say_damage(volume_name(image, volume), streams);
        damaged = damaged || !streams.notes.empty();
        volume_line line = describe_volume(image, volume, streams);
        if (!options.volume.empty()) line.name = options.volume;
        table.write(line);
    }
    if (!any) say_opening_failed(image, "no NTFS volume");
    return any;
}

bool image_was_read(const disk_image& image) {
    const std::string failure = image.failure();
    if (!failure.empty()) uni::console_write(warning_line(with_reason("prob reading image", failure), image.path));
    return failure.empty();
}

}  // namespace kest
