// What convert does to a picture between load and save, in the order of the command line. A new
// operation is one row of the table in operations.cpp.
#pragma once

#include <span>
#include <string>

#include <kestr/types.h>

#include "options.h"

namespace tool {

struct COperation {
    COption option;
    /// Applies the operation; false, with words in `error`, when it could not. A value that makes
    /// no sense is refused with `error` beginning "takes ".
    bool (*apply)(HKESTRSESSION session, const std::string& value, std::string& error);
};

[[nodiscard]] std::span<const COperation> Operations();

/// The operation of an option, or null.
[[nodiscard]] const COperation* FindOperation(const COption& option);

}  // namespace tool
