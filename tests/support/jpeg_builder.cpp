#include "support/jpeg_builder.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <jpeglib.h>

namespace kestr::test {
namespace {

// Soft shapes and some noise, so that every part of a codec has something to do.
uint8_t SampleAt(int x, int y, int channel) {
    const int noise = (x * 7919 + y * 104729 + channel * 1299709) >> 3 & 15;
    return static_cast<uint8_t>(x * 5 + y * (3 + channel) + channel * 40 + noise);
}

}  // namespace

std::vector<uint8_t> CJPEGBuilder::File() const {
    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &memory, &size);
    info.image_width = m_width;
    info.image_height = m_height;
    info.input_components = m_components;
    info.in_color_space = m_components == 1   ? JCS_GRAYSCALE
                          : m_components == 3 ? JCS_RGB
                                              : JCS_CMYK;
    jpeg_set_defaults(&info);
    if (m_transformed) jpeg_set_colorspace(&info, JCS_YCCK);
    jpeg_set_quality(&info, 90, TRUE);
    if (m_components > 1) {
        info.comp_info[0].h_samp_factor = m_across;
        info.comp_info[0].v_samp_factor = m_down;
    }
    info.density_unit = static_cast<UINT8>(m_unit);
    info.X_density = static_cast<UINT16>(m_xDensity);
    info.Y_density = static_cast<UINT16>(m_yDensity);
    if (!m_adobe) info.write_Adobe_marker = FALSE;
    if (m_progressive) jpeg_simple_progression(&info);
    info.arith_code = m_arithmetic ? TRUE : FALSE;
    jpeg_start_compress(&info, TRUE);
    for (const auto& [marker, data] : m_markers) {
        jpeg_write_marker(&info, marker, data.data(), static_cast<unsigned>(data.size()));
    }
    std::vector<uint8_t> row(static_cast<size_t>(m_width) * m_components);
    for (int y = 0; y < m_height; ++y) {
        for (size_t i = 0; i < row.size(); ++i) {
            row[i] =
                SampleAt(static_cast<int>(i) / m_components, y, static_cast<int>(i) % m_components);
        }
        JSAMPROW pointer = row.data();
        jpeg_write_scanlines(&info, &pointer, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::vector<uint8_t> file(memory, memory + size);
    std::free(memory);
    return file;
}

CPlainPicture DecodePlainly(const std::vector<uint8_t>& file, bool fast) {
    jpeg_decompress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, file.data(), static_cast<unsigned long>(file.size()));
    jpeg_read_header(&info, TRUE);
    if (fast) {
        info.dct_method = JDCT_IFAST;
        info.do_fancy_upsampling = FALSE;
    }
    jpeg_start_decompress(&info);
    CPlainPicture picture{static_cast<int>(info.output_width),
                          static_cast<int>(info.output_height),
                          info.output_components,
                          {}};
    std::vector<uint8_t> row(static_cast<size_t>(picture.width) * picture.channels);
    while (info.output_scanline < info.output_height) {
        JSAMPROW pointer = row.data();
        jpeg_read_scanlines(&info, &pointer, 1);
        picture.samples.insert(picture.samples.end(), row.begin(), row.end());
    }
    jpeg_destroy_decompress(&info);
    return picture;
}

std::vector<CMarkerOfFile> MarkersOf(const std::vector<uint8_t>& file) {
    std::vector<CMarkerOfFile> markers;
    size_t at = 2;  // behind SOI
    while (at + 4 <= file.size() && file[at] == 0xFF) {
        const size_t length = file[at + 2] << 8 | file[at + 3];
        if (at + 2 + length > file.size()) break;
        CMarkerOfFile found{file[at + 1], {}, at + 4};
        found.data.assign(file.begin() + at + 4, file.begin() + at + 2 + length);
        at += 2 + length;
        markers.push_back(std::move(found));
        if (markers.back().marker == 0xDA) break;
    }
    return markers;
}

std::vector<uint8_t> ExifOrientation(uint16_t orientation) {
    using std::string_literals::operator""s;
    // One entry: tag 274, a short; then no further directory.
    const std::string block = "Exif\0\0MM\0\x2A\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0"s +
                              static_cast<char>(orientation) + "\0\0\0\0\0\0"s;
    return {block.begin(), block.end()};
}

}  // namespace kestr::test
