#pragma once

#include "driver/log_runs.h"
#include "images/disk_image.h"
#include "report/volume_fields.h"

namespace kest {

// Opens the image of a run. False if it cannot be read, or if the run is writing to it, which has been said.
[[nodiscard]] bool open_image_of_run(const logfile_options& options, const run_outputs& outputs, disk_image& image);

// Makes streams of the volume that is asked for the sources of the run; `damaged` where something is wrong with it,
// which has been said. False if there is no such volume, or if it is not said which one is meant.
[[nodiscard]] bool take_volume(logfile_options& options, const disk_image& image, bool& damaged);

// Writes a line for each volume of the image. `damaged` as above, for any of them. False if there is none.
[[nodiscard]] bool list_volumes(const logfile_options& options, const disk_image& image, volume_table& table,
                                bool& damaged);

// What reading an image came to, besides what was said of its streams: false if it could not be read to the end.
[[nodiscard]] bool image_was_read(const disk_image& image);

}  // namespace kest
