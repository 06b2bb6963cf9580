#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <kestr/types.h>

#include "base/bitmap_info.h"
#include "base/pixel_buffer.h"
#include "image/image_stack_element.h"
#include "metadata/exif_members.h"
#include "metadata/iptc_members.h"
#include "readers/image_reader.h"

namespace kestr {

class CCallbackCls;

/// What a thumbnail load is told.
struct CThumbnailLoad {
    const KESTR_CHAR* path = nullptr;
    uint32_t width = 0;   // pixels wanted
    uint32_t height = 0;  // rows wanted
    int filter = 6;       // resampling method of the final reduction
    bool verify = true;   // probe readers; else trust the extension
    uint32_t backgroundColor = 0;
    bool autoRotate = false;
    int fit = 0;  // 0 lets the reader deliver no less than the wanted size, else at most that
    bool minPreviewSize = false;
    CCallbackCls* session = nullptr;
};

/// Left, top, right and bottom of a selection, right and bottom exclusive; left is -1 for none.
struct CSelectionRect {
    int32_t left = -1;
    int32_t top = -1;
    int32_t right = 0;
    int32_t bottom = 0;
};

/// The image in memory: pixels, palette, metadata, selection, undo stacks. A caller's handle owns
/// one; every load replaces it.
///
/// Pixels stand in two stores. The 8-bit store `bits` is a bitmap of 1, 4, 8 or 24 bits a pixel,
/// rows bottom-up and padded to 4 bytes, 24-bit pixels blue, green, red. The 16-bit store `bits16`,
/// when not empty, is the master: rows top-down without padding, one sample a pixel for a gray
/// image (8 bits a pixel in the 8-bit store), else blue, green, red. A display byte is then the
/// high byte of its sample.
class CImageBits {
public:
    CImageBits();
    virtual ~CImageBits();
    CImageBits(const CImageBits&) = delete;
    CImageBits& operator=(const CImageBits&) = delete;

    /// A copy of the pixels, palette, description and size, and with `withMetadata` of profile,
    /// records, comment and packets too. Its undo and redo stacks are empty.
    [[nodiscard]] std::unique_ptr<CImageBits> Copy(bool withMetadata) const;

    // ---- loading: image_load.cpp, image_thumbnail.cpp, image_memory.cpp -------------------------

    /// Loads page `page` of a file. The result tells whether a picture came; errorText has words.
    bool Load(const KESTR_CHAR* path, int page, bool verify, uint32_t background,
              CCallbackCls* progress, uint32_t extra);
    bool LoadThumbnail(const CThumbnailLoad& request);
    /// Merges the next frame of an animation into the picture; `updateRect` receives left, top,
    /// right and bottom of what may have changed.
    bool LoadNextPage(std::span<int32_t, 4> updateRect, uint32_t background);

    /// A 24-bit picture of one colour, a COLORREF with red in the low byte.
    bool NewImage(uint32_t width, uint32_t height, uint32_t colour);
    /// A picture from samples in rows top-down and unpadded, gray or blue, green, red; 8 bits each
    /// or, when `pixels16` is not empty, 16 bits each.
    bool LoadBits(std::span<const uint8_t> pixels8, std::span<const uint16_t> pixels16,
                  uint32_t width, uint32_t height, bool gray, CCallbackCls* progress);
    /// A picture from a bitmap in memory. `header` is a BITMAPINFOHEADER or one of its longer forms
    /// of 108 or 124 bytes, followed by masks or palette; the caller answers for its `pixels`.
    bool LoadDIB(const uint8_t* header, const uint8_t* pixels, bool alphaFlag, int undo);
    /// The same from one block that holds header, palette and pixels, and is not read beyond.
    bool LoadDIBArray(std::span<const uint8_t> block, bool alphaFlag);

    // ---- saving: image_save.cpp -----------------------------------------------------------------

    /// Writes the picture as the format `typeId`; false, with errorText set, when it could not.
    bool Save(const KESTR_CHAR* path, int32_t type, int32_t option, bool writeMetadata,
              bool writeProfile, bool flag, CCallbackCls* progress);
    /// Drops the 16-bit store, EXIF and IPTC records, sound clip and comment.
    void RemoveExtraInfo();
    /// Drops the same but the 16-bit store.
    void RemoveMetadata();
    /// Tells the caller of a save how far it is; only changed percentages pass.
    void ReportSaveProgress(uint32_t row);
    void ReportSavePercent(uint32_t percent);

    /// Starts to play the sound clip, from a temporary file that lives as long as the image; false
    /// without a clip or a player. Defined in image_sound.cpp.
    bool PlaySoundClip();

    // ---- undo: image_undo.cpp -------------------------------------------------------------------

    using CStack = std::vector<std::shared_ptr<CImageStackElement>>;

    void PushUndo();
    void PushRedo();
    /// Makes the newest snapshot of a stack the picture; false when the stack is empty.
    bool Restore(CStack& stack);
    bool PopUndo(bool pushRedo);
    bool PopRedo(bool pushUndo);
    bool PeekUndo();
    /// Removes the oldest snapshots, redo first, until both stacks together keep within undoLimit.
    void EnforceLimit();
    /// What an operation does first when it was asked to be undoable: snapshot, redo gone, limit.
    void BeginUndoable(int undo);
    static uint64_t StackBytes(const CStack& stack);

    // ---- pixels: image_bits.cpp -----------------------------------------------------------------

    /// Pixels and rows; 0 while there are no pixels.
    [[nodiscard]] int32_t Width() const { return bits.empty() ? 0 : bitmapInfo.Width(); }
    [[nodiscard]] int32_t Height() const { return bits.empty() ? 0 : bitmapInfo.Height(); }
    [[nodiscard]] bool Has16Bit() const { return !bits16.empty(); }
    /// Samples a pixel of the 16-bit store: 1 for gray, else 3.
    [[nodiscard]] int Samples16() const { return bitmapInfo.BitCount() == 8 ? 1 : 3; }
    /// First byte of a row of the 8-bit store, counted from the top of the picture.
    [[nodiscard]] uint8_t* RowFromTop(int32_t y) {
        return bits.data() + static_cast<size_t>(bitmapInfo.Height() - 1 - y) * RowBytes();
    }
    [[nodiscard]] const uint8_t* RowFromTop(int32_t y) const {
        return bits.data() + static_cast<size_t>(bitmapInfo.Height() - 1 - y) * RowBytes();
    }
    [[nodiscard]] size_t RowBytes() const { return static_cast<size_t>(bitmapInfo.RowBytes()); }

    /// Whether every pixel has equal channels; remembered until the pixels change.
    bool IsGray();
    /// Gives an 8-bit gray image the identity palette: pixels become the levels they stand for.
    void NormalizeGray();
    /// Each pixel of an 8-bit image becomes the red value of its palette entry, and the palette the
    /// identity.
    void FoldGrayPalette();
    /// Rebuilds the 8-bit store from the high bytes of the 16-bit store.
    void RefreshDisplayData();
    /// The same for a part, which is cut to the image first.
    void RefreshDisplayData(const CSelectionRect& part);
    /// What every change of pixels calls: forgets what was derived from them.
    void PixelsChanged();
    /// Drops what is rendered for display; the pixels stay as they are.
    void DropDisplayCaches();

    // ---- automatic steps of a load --------------------------------------------------------------

    /// Turns the picture upright by the reader's angle or, without one, by the EXIF orientation,
    /// which then becomes 1. True when something was turned.
    bool TurnUpright(int readerAngle);
    /// Applies the black and white levels that a reader asks for.
    void ApplyReaderLevels(const CImageReader& reader);

    // ---- operations: ops/ -----------------------------------------------------------------------

    /// The frame: runs an operation on the picture, or within the rectangle, mask, feather and
    /// inverse selection. An exception ends it with errorText set.
    class COperation;
    void RunOperation(COperation& operation, int undo);
    /// Whether the rectangle lies within the picture.
    [[nodiscard]] bool IsOpRectValid() const;
    /// The rectangle's pixels, and their way back under feather and mask; it must be valid. The
    /// 8-bit store must have 8 or 24 bits a pixel.
    [[nodiscard]] CPixelBytes CopyOpRect8(CBitmapInfo& partInfo);
    [[nodiscard]] CPixelWords CopyOpRect16();
    void MergeOpRect8(CPixelBytes& part, const CBitmapInfo& partInfo);
    void MergeOpRect16(CPixelWords& part);

    // Formats of the 8-bit store: pixel_format.cpp.
    /// Pixels of fewer than 8 bits become palette indices; those of a gray image become levels.
    void WidenTo8Bits();
    /// Pixels of fewer than 24 bits become the colours of their palette entries.
    void ExpandTo24Bits();
    /// A 1-bit picture gets the darker of its two colours as entry 0, its bits complemented.
    void NormalizeBilevel();

    // Selection and transparency.
    /// Stores sides that may come in either order and are inclusive, and takes the mask away. All
    /// four -1 clear the rectangle.
    void SetOpRect(int32_t x1, int32_t y1, int32_t x2, int32_t y2, int16_t feather);
    /// Forgets the rectangle and its mask, and keeps the feather.
    void ClearOpRect();
    /// Takes a mask of (width - 1) x (height - 1) of the stored rectangle; null takes it away.
    void LoadOpMask(const uint8_t* mask);
    /// Forgets a transparent index, a transparent colour and a palette's alpha.
    void ClearTransparency();
    /// These two forget the alpha plane too.
    void SetTransparentIndex(int32_t index);
    void SetTransparentColour(uint32_t colour, uint16_t tolerance);
    /// Takes a byte a pixel, 0 for transparent, in place of all other transparency.
    void LoadAlphaMask(const uint8_t* mask);
    /// Flattens onto a colour; false when nothing is transparent.
    bool MergeTransparency(uint32_t colour);
    /// Lays another picture over this one, its top left corner at (x, y).
    bool MergeImage(CImageBits& source, int32_t x, int32_t y, uint8_t opacity, int16_t feather,
                    int undo);

    // Colour profile.
    /// Takes the profile, or with no bytes drops the image's; false when it is not one.
    bool LoadICCProfile(std::span<const uint8_t> profile);
    /// Converts the pixels from the image's profile to this one, which becomes the image's.
    /// `intent` is the ICC's: 0 perceptual, 1 relative, 2 saturation, 3 absolute.
    bool ApplyICCProfile(std::span<const uint8_t> profile, uint32_t intent, int undo,
                         CCallbackCls* progress);

    // Geometry. None of these runs in the frame; those that change the size clear the rectangle.
    /// Cuts to the rectangle; false when it is not valid.
    bool OpCrop(int undo);
    /// Cuts a border of one colour away; the values are of 16 bits where there is a 16-bit store.
    /// `tolerance` is in thousandths of the colour cube's diagonal. False when nothing was cut.
    bool OpCropBorder(uint16_t red, uint16_t green, uint16_t blue, int16_t tolerance, int undo);
    bool OpMirror(int undo);
    /// Turns clockwise by any angle and fills the corners with `background`, a COLORREF.
    bool OpRotateFine(double degrees, uint32_t background, int undo);
    /// Replaces every other row, from row 0 or 2 on when `oddField`, by what its neighbours tell.
    bool OpDeInterlace(bool oddField, bool interpolate, int undo);
    /// Turns by 90, 180 or 270 degrees clockwise; negative angles turn the other way.
    bool TurnQuarters(int16_t degrees);

    // Resampling: resize.cpp, canvas.cpp.
    /// Scales by the sampler when growing and the block reducer when shrinking. Reduce modes: 0
    /// single pixels, 1 AND and 2 OR of a block's bits, 3 the average of a block. A target without
    /// pixels changes nothing.
    bool OpResize(int32_t width, int32_t height, bool keepAspect, bool interpolate,
                  uint8_t reduceMode, int undo);
    /// Scales by a method: 0 to 2 as OpResize without interpolation, 3 to 7 by a filter. False when
    /// nothing was to be done.
    bool OpResizeExL(int32_t width, uint32_t height, uint8_t method, bool keepAspect, int undo);
    /// A new image with the 8-bit store scaled, methods as above; null when there is none to make.
    [[nodiscard]] std::unique_ptr<CImageBits> ScaledCopy(int32_t width, int32_t height,
                                                         bool keepAspect, int method,
                                                         bool interpolate, int reduceMode);
    /// Enlarges the canvas. Placement 1 centres the picture, 2 tiles it, others put it top left.
    bool EnlargeCanvas(int32_t width, int32_t height, uint8_t placement, uint32_t colour, int undo);

    // Tone.
    bool OpAdjustLevels(const std::array<uint32_t, 3>& red, const std::array<uint32_t, 3>& green,
                        const std::array<uint32_t, 3>& blue, double levelsGamma, int undo);
    // Percentages are added to what is there; they are not checked.
    void OpBrighter(int percent, int undo);
    void OpContrast(int percent, int undo);
    void OpNegative(int undo);
    void OpRGBAdjust(int redPercent, int greenPercent, int bluePercent, int undo);
    void OpHSVAdjust(int huePercent, int saturationPercent, int valuePercent, int undo);
    void OpGrayScale(int undo);
    /// Applies level ^ (1 / (gamma * factor)) to the whole picture.
    void OpGammaTable(double newGamma, double factor, int undo);
    /// Makes `colour`, a COLORREF, the gray (mode 1), black (2) or white point.
    bool OpSetColorPoint(uint8_t mode, uint32_t colour, int undo);
    /// Makes one pixel a colour, 16 bits a channel where there is a 16-bit store.
    void OpSetPixelColor(uint32_t x, uint32_t y, uint16_t red, uint16_t green, uint16_t blue,
                         int undo);
    bool OpRemoveRedEye(uint8_t saturationMin, int16_t hue, uint8_t valuePercent, int undo);
    /// So many thousandths of the pixels may be clipped.
    bool OpAutoContrast(uint32_t thousandths, int undo);
    bool OpAutoLevel(uint32_t thousandths, int undo);

    // Neighbourhood filters: each pixel from a window around it.
    /// Convolves with a matrix of `width` x `height` weights; sums are divided by the size of the
    /// weights' sum. False without a matrix.
    bool OpConvolveEx(int16_t width, int16_t height, const int16_t* matrix, uint16_t redBias,
                      uint16_t greenBias, uint16_t blueBias, int undo);
    bool OpSharpen(int16_t strength, int undo);
    bool OpSoften(int16_t strength, int undo);
    // The window has 2 * radius + 1 pixels a side; false for a negative radius.
    /// Each pixel becomes that of the window's median luminance. False below 4 bits a pixel.
    bool OpMedianFilter(int16_t radius, int undo);
    /// At 8 bits each channel becomes its median unless that is an extreme, at 16 bits as
    /// OpMedianFilter. False below 4 bits a pixel.
    bool OpReduceNoise(int16_t radius, int undo);
    /// Gray pictures and those below 8 bits stay as they are.
    bool OilPaint24(int16_t radius, int undo);
    bool OpNeon(int undo);

    // Colour reduction, of the whole picture whatever is selected; the 16-bit store goes.
    /// To `colours` of 1, 4 or 8 bits a pixel, found for the picture. False, with errorText set,
    /// when the counts do not fit or the picture has no more bits than that.
    bool OpReduceColors(int16_t colours, int16_t bitCount, bool dither, int undo);
    /// To the standard palette of 4 or 8 bits.
    bool OpMatchStandardPalette(int16_t bitCount, bool dither, int undo);
    /// To the colours of a palette file; false without words when it does not serve.
    bool OpMatchToPalette(const KESTR_CHAR* path, bool dither, int undo);
    /// To 4, 8 or 24 bits a pixel; the 16-bit store stays, a sample a channel.
    bool OpIncreaseBitsPerPixel(int32_t bitCount, int undo);
    /// Writes the palette as a RIFF PAL file; false when there is none or the file cannot be made.
    bool SavePalette(const KESTR_CHAR* path);

    // ---- state ----------------------------------------------------------------------------------

    std::basic_string<KESTR_CHAR> fileName;  // as given to the load
    std::string description;                 // lines, beginning "Format: "
    std::string errorText;                   // the last failure in words
    std::string comment;
    bool exactStart = false;  // these four are the caller's settings, copied at each load
    bool psdFlattened = false;
    bool rawAutoLevels = false;
    bool rawLinearGamma = false;
    CBitmapInfo bitmapInfo;
    CPixelBytes bits;
    CPixelWords bits16;
    int32_t typeId = 2;
    int32_t pageCount = 0;
    uint32_t currentPage = 0;  // 0 unless pageCount exceeds 1
    uint32_t jpegQuality = 75;
    bool jpegHighQuality = true;
    double jpegRate = 0;
    std::array<uint16_t, 6> jpegSampling{2, 2, 1, 1, 1, 1};
    bool loaded = false;      // holds a picture
    uint8_t grayMask = 0xFF;  // bits of each sample that the gray test compares
    uint16_t colorTemperature = 0;
    std::unique_ptr<CEXIF_Members> exif;
    CIPTC_Members iptc;
    std::vector<uint8_t> cameraText;          // the camera's own header, first byte its kind
    std::vector<uint8_t> soundClip;           // a WAV file's bytes
    std::basic_string<KESTR_CHAR> soundFile;  // temporary copy of the clip
    std::vector<uint8_t> xmpData;
    bool from16Bit = false;      // the file had more than 8 bits a sample
    uint32_t originalWidth = 0;  // size in the file, before a thumbnail's reduction
    uint32_t originalHeight = 0;
    bool stopAtMarkerIPTC = true;
    uint32_t backgroundColor = 0;  // COLORREF behind transparent pixels
    double gamma = 0.45454545454545453;
    double displayGamma = 2.2;
    uint16_t physicalX = 0;  // pixels per inch
    uint16_t physicalY = 0;
    uint32_t scanLinesRead = 0;
    uint32_t rawInterpolationMethod = 1;

    // Transparency: a palette index, a colour with a tolerance, a palette's or a pixel's alpha.
    int32_t transparentIndex = -1;
    bool hasTransparentColor = false;
    uint32_t transparentColor = 0;
    uint16_t transparentTolerance = 0;
    std::vector<uint8_t> paletteAlpha;
    CPixelBytes alpha;  // one byte a pixel, rows top-down and unpadded

    // Selection.
    CSelectionRect opRect;
    int16_t opFeather = 0;
    std::vector<uint8_t> opMask;  // one byte for each pixel of opRect, rows top-down
    bool inverseSelect = false;

    // Animation.
    CFrameRect frameRect;
    uint32_t frameDisposal = 0;
    uint32_t frameDelay = 0;
    std::vector<uint8_t> savedFrame;  // what to put back before the next frame
    CFrameRect savedFrameRect;
    std::unique_ptr<CImageReader> pageReader;  // of the next pages; knows where they begin

    // Colour profile.
    std::vector<uint8_t> iccProfile;
    bool iccFromExif = false;
    std::string autoICCProfile;

    uint32_t undoLimit = 0;  // bytes; 0 for no limit
    CStack undoStack;        // newest at the end
    CStack redoStack;
    CCallbackCls* session = nullptr;     // progress target of a save or an operation
    CCallbackCls* undoNotify = nullptr;  // told of each snapshot

private:
    bool grayChecked = false;
    bool isGray = false;
    uint16_t lastPercent = 0;

    bool ScanForColour() const;
    void RunOn8Bits(COperation& operation);
    void RunOn16Bits(COperation& operation);
    bool PrepareForMedian(int16_t radius);
    void MatchPalette(std::span<const CRGBQuad> palette, int bitCount, bool dither, int undo);

    // Steps that loads and thumbnail loads share: image_load.cpp.
    bool FindFile(const KESTR_CHAR* path, uint32_t background);
    void HandSettings(CImageReader& reader);
    bool ReadRows(CImageReader& reader);
    void CloseReader(CImageReader& reader);
    void CutTo(const CSelectionRect& part);
    void Shear(double degrees);
    void AdoptScaled(CBitmapInfo info, CPixelBytes pixels);
    void AdoptScaled16(CPixelWords samples, int32_t width, int32_t height);
    void ScaleAlpha(int32_t oldWidth, int32_t oldHeight, bool interpolate);
    void TakeFromReader(CImageReader& reader, int page);
    void TakePicture(CImageReader& reader);
    void DisposeOfFrame(uint32_t background);
    void SaveUnderFrame();
    void MergeFrame(CImageReader& reader);
    void DescribeProfile();

    bool CopyDIB(const uint8_t* header, const uint8_t* pixels, bool alphaFlag, int undo);
};

}  // namespace kestr
