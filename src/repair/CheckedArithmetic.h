#pragma once

#include <cstdlib>

namespace tessiva::repair {

// Row arithmetic for structural repair. A row number that overflows is a programming fault: a
// wrapped row would silently move mappings onto unrelated tracks, so the program stops instead.

inline int checkedAdd(int a, int b) {
    int result = 0;
    if (__builtin_add_overflow(a, b, &result))
        std::abort();
    return result;
}

inline int checkedSub(int a, int b) {
    int result = 0;
    if (__builtin_sub_overflow(a, b, &result))
        std::abort();
    return result;
}

inline int checkedMul(int a, int b) {
    int result = 0;
    if (__builtin_mul_overflow(a, b, &result))
        std::abort();
    return result;
}

}  // namespace tessiva::repair
