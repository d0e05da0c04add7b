#include "driver/run.h"

int main(int argc, char** argv) {
    kest::argument_list args;
    for (int at = 0; at < argc; ++at) {
        args.emplace_back(argv[at] != nullptr ? argv[at] : "");
    }
    return kest::run(std::move(args));
}
