#include "raw/camera_libraries.h"

#include <algorithm>

#include "readers/closed_library.h"

namespace kestr {
namespace {

using CNames = std::span<const char* const>;

// The @ and the number behind it are the bytes of the arguments, as the libraries export them.
constexpr const char* kFoveonFunctions[] = {
    "_X3FBuildVersion@0",
    "_X3FCancelProcessImage@4",
    "_X3FCopyImageRowData@12",
    "_X3FCreateIlluminantList@4",
    "_X3FCreateSession@4",
    "_X3FDestroyIlluminantList@4",
    "_X3FDestroySession@4",
    "_X3FEnableAutoProcessing@4",
    "_X3FGetICCProfile@16",
    "_X3FGetIlluminantListHead@4",
    "_X3FGetImagePixelType@4",
    "_X3FGetImageProperties@4",
    "_X3FGetNextIlluminant@12",
    "_X3FGetNextProperty@16",
    "_X3FGetPropertyListHead@4",
    "_X3FImageHeight@4",
    "_X3FImageWidth@4",
    "_X3FLastErrorMessage@4",
    "_X3FProcessImage@12",
    "_X3FProcessPreview@12",
    "_X3FSetBlacknessAdjust@12",
    "_X3FSetColorGains@28",
    "_X3FSetContrastAdjust@12",
    "_X3FSetExposureAdjust@12",
    "_X3FSetHighPrecision@8",
    "_X3FSetHighlightAdjust@12",
    "_X3FSetNeutralOverride@28",
    "_X3FSetOutputColorspace@8",
    "_X3FSetSaturationAdjust@12",
    "_X3FSetSharpnessAdjust@12",
    "_X3FSetWhitebalanceOverride@8",
    "_X3FUpdateImageFileProps@4",
    "_X3FUseImageFileProps@4",
};
static_assert(std::size(kFoveonFunctions) == 33);

constexpr const char* kNikonFunctions[] = {"Nkfl_Entry"};

constexpr const char* kFoveonFiles[] = {"X3FSDK.DLL"};
constexpr const char* kNikonFiles[] = {"NkImgSDK.dll", "NkBrowseLib5.dll"};
constexpr const char* kKodakPDCFiles[] = {"DCSPro4SLR.dll", "DCSProBack.dll", "DCSPro3SLR.dll"};

constexpr const char* kKodakDCSFunctions[] = {
    "DCOpenDriver",    "DCOpenSource",    "DCOpenImage",        "DCGetImage",
    "DCLoadCache",     "DCSetExtension",  "DCSetImageType",     "DCSetOutputWindow",
    "DCSetRotateType", "DCGetRotateType", "DCSetImagePadBytes", "DCCloseDriver",
    "DCCloseImage",    "DCCloseSource",
};
static_assert(std::size(kKodakDCSFunctions) == 14);

}  // namespace

CCameraLibrary::CCameraLibrary(std::span<const char* const> fileNames,
                               std::span<const char* const> functions)
    : m_functions(functions) {
    for (const char* name : fileNames) m_files.push_back(std::make_unique<CDLLInterface>(name));
}

CDLLInterface* CCameraLibrary::Find(size_t from) {
    for (size_t i = from; i < m_files.size(); ++i) {
        CDLLInterface& file = *m_files[i];
        const auto isThere = [&](const char* name) { return file.GetFunction(name) != nullptr; };
        if (file.Load() && std::ranges::all_of(m_functions, isThere)) return &file;
    }
    return nullptr;
}

void CCameraLibrary::Unload() {
    for (const auto& file : m_files) file->Unload();
}

CCameraLibrary& FoveonLibrary() {
    static CLasting<CCameraLibrary> library{CNames(kFoveonFiles), CNames(kFoveonFunctions)};
    return library.Get();
}

CCameraLibrary& NikonLibrary() {
    static CLasting<CCameraLibrary> library{CNames(kNikonFiles), CNames(kNikonFunctions)};
    return library.Get();
}

CCameraLibrary& KodakPDCLibrary() {
    static CLasting<CCameraLibrary> library{CNames(kKodakPDCFiles), CNames{}};
    return library.Get();
}

CCameraLibrary& KodakDCSLibrary() {
    static CLasting<CCameraLibrary> library{CNames{}, CNames(kKodakDCSFunctions)};
    return library.Get();
}

namespace {

const CUnloadRegistration kFoveon{kFoveonLibraries, [] { FoveonLibrary().Unload(); }};
const CUnloadRegistration kNikon{kNikonLibraries, [] { NikonLibrary().Unload(); }};
const CUnloadRegistration kKodak{kKodakPDCLibraries, [] {
                                     KodakPDCLibrary().Unload();
                                     KodakDCSLibrary().Unload();
                                 }};

}  // namespace
}  // namespace kestr
