// A library with the functions of Canon's, made for these tests: it opens any file whose name does
// not hold "closed" and develops a picture of 7 by 5 pixels for it. Built into the tests, and on
// Windows into libraries of their own. Names steer it: "adobe", "failing", "huge".
#pragma once

#include <cstdint>

#include <kestr/types.h>

extern "C" {

struct CEdStubState {
    int starts, ends;  // calls of initialise and terminate
    int references;    // that are not released
    int developed;     // pictures
};

// What it counts; the library exports it as "EdStubState".
CEdStubState* KESTR_CALL EdStubState(void);
// Any function by name, as the system finds it in a library; null when there is none.
void* EdStubFunction(const char* name);

}  // extern "C"

namespace kestr::test {

constexpr int kEdStubWidth = 7;
constexpr int kEdStubHeight = 5;
// Sample `channel`, 0 red, of a pixel.
constexpr uint16_t EdStubSample(int x, int y, int channel) {
    return static_cast<uint16_t>(20000 * channel + 1000 * y + 37 * x + 5);
}

}  // namespace kestr::test
