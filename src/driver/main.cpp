#include <new>

#include "driver/run.h"
#include "portable/host.h"

int main(int argc, char** argv) {
    try {
        return kest::run(uni::take_arguments(argc, argv));
    } catch (const std::bad_alloc&) {
        kest::say_out_of_memory();
        return kest::run_failed;
    }
}
