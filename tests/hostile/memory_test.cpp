// Memory that runs out, at each allocation of a run.

#include <set>

#include "events/event_relay.h"
#include "hostile/allocations.h"
#include "support/made_run.h"
#include "support/volume_image.h"

namespace kest::disk {
namespace {

const std::string samples = KEST_SAMPLES, sample_log = samples + "/LogFile";

// So many allocations are made, and then `count` fail. The report is what follows the lines of the run's own.
captured_run run_failing(const argument_list& args, const std::string& input, long made, long count) {
    captured_run ran = capture(
        [&] {
            argument_list taken = args;
            allocated.failing = count;
            allocated.before_failing = made;
            const int status = run(std::move(taken));
            allocated.failing = 0;
            return status;
        },
        input);
    ran.out.erase(0, ran.out.find("\"\n"));
    return ran;
}

// A run that says nothing of it has the whole report.
TEST(memory, that_runs_out_is_never_silent) {
    const scratch_folder folder;
    const std::string list = folder.put("list", sample_log + '\n' + sample_log + '\n');
    const bytes volume = volume_image{.log = log_of_pages({{.lsn = 8}})}.image();
    const std::string image = folder.put("image", std::string(volume.begin(), volume.end()));
    const argument_list with_log = {"kest", "-quiet", "-csv", "-log", sample_log};
    const argument_list rows[] = {
        {},
        {"-mftfile", samples + "/MFT", "-jrnlfile", samples + "/UsnJrnl_J", "-showall_inodes"},
        {"-mftfile", samples + "/MFT", "-diags", folder.at("diags"), "-l2"},
        {"-cut"},
        {"-events"},
        {"-coverage"},
        {"kest", "-pipe", "-quiet", "-csv", "-stats"},
        {"kest", "-quiet", "-csv", "-image", image},
        {"kest", "-quiet", "-csv", "-case", samples, "-jobs", "2"},
    };
    for (argument_list args : rows) {
        if (args.empty() || args[0] != "kest") args.insert(args.begin(), with_log.begin(), with_log.end());
        std::set<std::string> reports;  // the first failures come before anything has been made once for all runs
        for (long made = 0, unharmed = 0; unharmed < 4 && made < 20'000; made += made < 60 ? 1 : 7) {
            const captured_run ran = run_failing(args, list, made, made % 2 == 0 ? 1 : LONG_MAX);
            EXPECT_EQ(ran.status, ran.err.empty() ? 0 : run_failed) << made << ran.err;
            unharmed = ran.status == 0 ? unharmed + 1 : 0;
            if (ran.status == 0) reports.insert(ran.out);
        }
        EXPECT_EQ(reports.size(), 1u) << args.back();
    }
}

TEST(memory, that_runs_out_passes_no_event_on_half_copied) {
    event shown;
    shown.path.assign(100, 'p');
    long fallen = 0;
    for (long made = 0; made < 4; ++made) {
        const event_listener expect_whole = [&shown](const event& taken) { EXPECT_EQ(taken.path, shown.path); };
        event_relay relay(expect_whole);
        allocated.failing = 1;
        allocated.before_failing = made;
        try {
            relay.put(shown);
        } catch (const std::bad_alloc&) {
            ++fallen;
        }
        allocated.failing = 0;
        relay.finish();
    }
    EXPECT_EQ(fallen, 2) << "of the batch, and of the path";
}

}  // namespace
}  // namespace kest::disk
