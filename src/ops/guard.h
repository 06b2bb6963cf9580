#pragma once

#include <exception>
#include <type_traits>

#include "base/messages.h"
#include "image/image_bits.h"

namespace kestr {

/// Runs a step that may run out of memory: an exception ends it with errorText set and the result
/// false. A step without a result succeeds.
template <typename Action>
bool Guarded(CImageBits& image, Action action) {
    try {
        if constexpr (std::is_void_v<std::invoke_result_t<Action>>) {
            action();
            return true;
        } else {
            return action();
        }
    } catch (const std::exception&) {
        image.errorText = Message(message::kOperationException);
        image.PixelsChanged();
        return false;
    }
}

}  // namespace kestr
