// kestr comment: write the comment of a JPEG file.
#include "command.h"
#include "session.h"
#include "text.h"

namespace tool {
namespace {

ExitCode RunComment(const CCommandLine& line) {
    if (line.files.size() != 2) {
        Complain("comment needs a file and a text");
        return kUsage;
    }
    if (WriteComment(line.files[0], line.files[1])) return kDone;
    Complain(line.files[0], "the comment could not be written: this takes a JPEG file");
    return kFailed;
}

}  // namespace

const CCommand kCommentCommand{"comment",
                               "FILE TEXT",
                               "Put a comment into a JPEG file, in the place of the one it has",
                               {},
                               &RunComment};

}  // namespace tool
