// Writes portable anymaps in their binary forms, type ids 7, 9 and 13 alike: the form follows the
// picture, P4 and P5 for gray ones below 24 bits a pixel, else P6.

#include <string>
#include <vector>

#include "base/format_text.h"
#include "base/messages.h"
#include "image/image_bits.h"
#include "image/row_access.h"
#include "image/writer_registry.h"
#include "platform/files.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kCreator[] = "# CREATOR: Veldrasin Kestramon Library\n";
constexpr size_t kBlock = size_t{1} << 18;  // bytes gathered before they are written

int FormOf(CImageBits& image) {
    const int bits = image.bitmapInfo.BitCount();
    if (bits >= 24 || !image.IsGray()) return 6;
    return bits < 4 ? 4 : 5;
}

/// "# " before each line of the comment; carriage returns are left out.
std::string CommentLines(const std::string& comment) {
    if (comment.empty()) return {};
    std::string lines = "# ";
    for (size_t i = 0; i < comment.size(); ++i) {
        if (comment[i] == '\r') continue;
        lines += comment[i];
        if (comment[i] == '\n' && i + 1 < comment.size()) lines += "# ";
    }
    if (lines.back() != '\n') lines += '\n';
    return lines;
}

std::string Header(CImageBits& image, int form) {
    std::string header = FormatText("P%d\n", form) + kCreator + CommentLines(image.comment) +
                         FormatText("%d %d\n", image.Width(), image.Height());
    if (form != 4) header += "255\n";
    return header;
}

void PutRow(const CImageBits& image, const uint8_t* row, int form, uint8_t* out) {
    const auto width = static_cast<size_t>(image.Width());
    const int bits = image.bitmapInfo.BitCount();
    switch (form) {
        case 4:  // a set bit is black in the file
            for (size_t i = 0; i < (width + 7) / 8; ++i) out[i] = static_cast<uint8_t>(~row[i]);
            break;
        case 5:
            UnpackIndices(row, bits, width, out);
            for (size_t x = 0; bits != 8 && x < width; ++x) {
                out[x] = image.bitmapInfo.Palette()[out[x]].rgbRed;
            }
            break;
        default:
            RowToRGB(image, row, out);
            break;
    }
}

bool SavePBM(CImageBits& image, const CSaveRequest& request) {
    COutputFile file;
    if (!file.Create(request.path)) {
        image.errorText = Message(message::kCannotCreate);
        return false;
    }
    const int form = FormOf(image);
    const std::string header = Header(image, form);
    file.Write(header.data(), header.size());
    const auto width = static_cast<size_t>(image.Width());
    const size_t rowBytes = form == 4 ? (width + 7) / 8 : form == 5 ? width : 3 * width;
    const size_t blockRows = kBlock / (rowBytes + 1) + 1;
    std::vector<uint8_t> block(blockRows * rowBytes);
    size_t gathered = 0;
    for (int32_t y = 0; y < image.Height(); ++y) {
        PutRow(image, image.RowFromTop(y), form, block.data() + gathered * rowBytes);
        if (++gathered == blockRows || y + 1 == image.Height()) {
            if (!file.Write(block.data(), gathered * rowBytes)) return false;
            gathered = 0;
        }
        image.ReportSaveProgress(static_cast<uint32_t>(y));
    }
    return file.Close();
}

const CWriterRegistration kWriters{{kTypePBM, kTypePGM, kTypePPM}, &SavePBM};

}  // namespace
}  // namespace kestr
