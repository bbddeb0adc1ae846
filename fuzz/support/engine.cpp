// What the fuzzing engine calls: the program's only target.
#include "support/target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CFuzzTarget::All().front()->Run(data, size);
    return 0;
}
