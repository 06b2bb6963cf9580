// What a command of the program is. A new one is one source with a CCommand and one line in
// main.cpp.
#pragma once

#include <span>
#include <string_view>

#include "options.h"

namespace tool {

enum ExitCode : int {
    kDone = 0,
    kFailed = 1,   // refused, or could not be done
    kUsage = 2,    // the command line makes no sense
    kDamaged = 3,  // done, but a picture was only partly readable
};

struct CCommand {
    std::string_view name;
    std::string_view arguments;  // as the usage line shows them
    std::string_view summary;    // one line
    std::span<const COption> options;
    ExitCode (*run)(const CCommandLine& line);
};

extern const CCommand kInfoCommand;
extern const CCommand kMetaCommand;
extern const CCommand kCheckCommand;
extern const CCommand kConvertCommand;
extern const CCommand kDevelopCommand;
extern const CCommand kHistogramCommand;
extern const CCommand kThumbCommand;
extern const CCommand kSheetCommand;
extern const CCommand kRoundtripCommand;
extern const CCommand kRotateCommand;
extern const CCommand kCommentCommand;
extern const CCommand kFramesCommand;

}  // namespace tool
