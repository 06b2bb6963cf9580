// The Windows Imaging Component behind system_codec.h, in parts that can be had one by one.
#pragma once

#include <windows.h>
#include <memory>
#include <wincodec.h>
#include <wincodecsdk.h>

#include "platform/system_codec.h"

namespace kestr {

/// Opens a file by way of this factory, which is kept as long as the result.
[[nodiscard]] std::unique_ptr<CCodecFile> OpenWithImagingFactory(IWICImagingFactory& factory,
                                                                 const wchar_t* path);

/// Tells of all blocks that a frame's reader has, and of those inside of them.
void VisitImagingBlocks(IWICMetadataBlockReader& reader, CCodecMetadataVisitor& visitor);

/// What a component calls itself, or nothing.
[[nodiscard]] std::string FriendlyName(IWICComponentInfo& info);

}  // namespace kestr
