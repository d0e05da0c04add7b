#include <new>

#include "driver/run.h"

int main(int argc, char** argv) {
    try {
        return kest::run({argv, argv + argc});
    } catch (const std::bad_alloc&) {
        kest::say_out_of_memory();
        return kest::run_failed;
    }
}
