/* Kestr: reads, inspects, transforms and writes raster images.
 *
 * The caller makes a session, loads a file into the session's image, takes the pixels as a
 * device-independent bitmap, applies operations under undo and redo, and saves to a format that it
 * names by a type id.
 *
 * What holds for every call, unless its comment says otherwise:
 * - The result is 1 for success and 0 for failure.
 * - A null session is accepted: the call then does nothing and returns 0. So does a call that reads
 *   or changes the image while none is loaded.
 * - Any output pointer may be null and is then not written. Outputs for texts, arrays and objects
 *   are set to null at entry; numbers and tables are left alone by a call that does nothing.
 * - A text given out is a BSTR that the caller frees with SysFreeString, bytes are a SAFEARRAY that
 *   the caller frees with SafeArrayDestroy. Pointers into the image die with it: the next load or
 *   operation may move what they point at.
 * - A text or path taken as `const char*` is NUL-terminated, in the thread's ANSI code page on
 *   Windows and in UTF-8 elsewhere. The form with W at the end of its name takes NUL-terminated
 *   UTF-16 and does the same.
 * - A colour is 0x00BBGGRR: red in the low byte.
 * - Flags are true when not 0.
 * - One session serves one thread at a time; any number of sessions may work at once. Only
 *   cAbortImageLoad may be called on a session that another thread uses.
 *
 * Type ids of files, those that can be saved: 0 to 2 BMP (run-length, 16-bit field mapped, plain);
 * 3 DCX; 4, 5 JPEG (baseline, progressive); 7 PBM; 8 PCX; 9 PGM; 11, 12 PNG (plain, interlaced);
 * 13 PPM; 15 SGI; 16, 17 Targa; 18 to 25, 27, 28, 54 TIFF; 31 Photoshop; 32 Sun raster; 33 PICT;
 * 35 IFF; 36 CALS; 41 WBMP; 43 XBM; 44 XPM; 45 XWD; 50, 51 MBM; 56 JPEG 2000; 66, 67 GIF (plain,
 * interlaced). docs/status.md tells which of them this version writes. */
#ifndef KESTR_KESTR_H
#define KESTR_KESTR_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- Sessions ----------------------------------------------------------------------------- */

/** Makes a session with an empty image and default settings.
 *  @return the session, to be freed with cDestroySession, or null when memory runs out. */
KESTR_API HKESTRSESSION KESTR_CALL cNewSession(void);

/** Copies a session: the image with its metadata and all settings, but neither its undo and redo
 *  snapshots nor its callbacks.
 *  @return the new session, or null when the given one holds no image or memory runs out. */
KESTR_API HKESTRSESSION KESTR_CALL cDupSession(HKESTRSESSION session);

/** Frees a session, its image and its snapshots. */
KESTR_API void KESTR_CALL cDestroySession(HKESTRSESSION session);

/** Frees an EXIF record that a file query gave out. */
KESTR_API void KESTR_CALL cDestroyEXIF(CEXIF_Members* record);

/** Frees an IPTC record. */
KESTR_API void KESTR_CALL cDestroyIPTC(CIPTC_Members* record);

/** Replaces the image by an empty one; the settings stay. */
KESTR_API void KESTR_CALL cUnload(HKESTRSESSION session);

/** Exchanges the images of two sessions, with their snapshots; the settings stay.
 *  @return 1, or 0 when either session is null. */
KESTR_API int32_t KESTR_CALL cSwapImage(HKESTRSESSION a, HKESTRSESSION b);

/** Releases closed camera libraries that were loaded on first use.
 *  @param mask  any of 1 Canon, 2 Kodak PDC, 4 Nikon, 8 Foveon. */
KESTR_API void KESTR_CALL cUnloadDLLs(uint8_t mask);

/* --- Settings: they stay with the session and reach the image at the next load or save ------ */

/** Makes every operation take an undo snapshot first. Off in a new session. */
KESTR_API void KESTR_CALL cEnableAutoUndoRedo(HKESTRSESSION session, int32_t flag);

/** Turns a picture upright after a load, as its EXIF orientation says. Off in a new session. */
KESTR_API void KESTR_CALL cSetAutoRotate(HKESTRSESSION session, int32_t flag);

/** @param quality      0 to 100, 75 in a new session.
 *  @param rate         bits a pixel for JPEG 2000, 0.1 in a new session.
 *  @param highQuality  slow exact transform and smooth chroma; on in a new session.
 *  @param exactStart   take a JPEG file from its first byte, do not search for the start of the
 *                      picture; off in a new session. */
KESTR_API void KESTR_CALL cSetJPEGParams(HKESTRSESSION session, uint16_t quality, double rate,
                                         int32_t highQuality, int32_t exactStart);

/** Loads the merged picture of a layered Photoshop file. Off in a new session. */
KESTR_API void KESTR_CALL cSetPSDParams(HKESTRSESSION session, int32_t flattened);

/** Canon raw files: whether the maker's library is tried, and what it is told. The third flag keeps
 *  the white balance of the file, the four numbers are the library's adjustments. */
KESTR_API void KESTR_CALL cSetCanonCRWParams(HKESTRSESSION session, int32_t useLibrary,
                                             int32_t cameraDefaults, int32_t keepWhiteBalance,
                                             int16_t p0, int16_t p1, int16_t p2, int16_t p3,
                                             int32_t linear);

/** Kodak PDC files.
 *  @param name  kept for the whole process, not for the session.
 *  @param mode  0, or 1 to 8. */
KESTR_API void KESTR_CALL cSetKodakPDCParams(HKESTRSESSION session, const char* name, uint16_t mode,
                                             int32_t a, int32_t b, int32_t c, double value);
KESTR_API void KESTR_CALL cSetKodakPDCParamsW(HKESTRSESSION session, const KESTR_CHAR* name,
                                              uint16_t mode, int32_t a, int32_t b, int32_t c,
                                              double value);

/** Raw files.
 *  @param autoLevels   stretch black and white after the load; on in a new session.
 *  @param linearGamma  DNG only; on in a new session. */
KESTR_API void KESTR_CALL cSetGeneralRawParams(HKESTRSESSION session, int32_t autoLevels,
                                               int32_t linearGamma);

/** @param method  0 bilinear, 1 variable number of gradients (a new session's), 2 adaptive
 *                 homogeneity-directed. */
KESTR_API void KESTR_CALL cSetRawInterpolationMethod(HKESTRSESSION session, uint32_t method);

/** Sends raw colours through the CIECAM02 appearance model. On in a new session. */
KESTR_API void KESTR_CALL cUseCIECAM02(HKESTRSESSION session, int32_t flag);

/** Keeps a gamma for the whole process. */
KESTR_API void KESTR_CALL cSetProcessingGamma(double gamma);

/** Lets saves write the image's ICC profile. On in a new session. */
KESTR_API void KESTR_CALL cSaveICCProfileEnabled(HKESTRSESSION session, int32_t flag);

/** Names the display profile, in the session and in its image. */
KESTR_API void KESTR_CALL cSetAutoICCProfile(HKESTRSESSION session, const char* name);
KESTR_API void KESTR_CALL cSetAutoICCProfileW(HKESTRSESSION session, const KESTR_CHAR* name);

/** Width in pixels of the soft edge of the operation rectangle; reaches the image with the next
 *  cSetOpRectangle, which brings its own value. */
KESTR_API void KESTR_CALL cSetEdgeFeatherValue(HKESTRSESSION session, uint16_t feather);

/** Colour behind transparent pixels, in the session and in its image. 0 in a new session. */
KESTR_API void KESTR_CALL cSetBackgroundColor(HKESTRSESSION session, uint32_t colour);

/** Makes operations change what lies outside the selection. Reaches a loaded image at once. */
KESTR_API void KESTR_CALL cSetInverseSelect(HKESTRSESSION session, int32_t flag);

/** Sends files with this extension, with or without its dot and in upper or lower case, to the
 *  codecs that Windows has, before our own readers are asked. Does nothing on other systems. To be
 *  called before loading starts: there is no lock. */
KESTR_API void KESTR_CALL cAddWicFileType(const char* extension);

/** Names a function to be told of every snapshot. A `user` of 0 switches it off. A load replaces
 *  the image and ends the notification until this is called again. */
KESTR_API void KESTR_CALL cRegisterPushUndoRedoCallback(HKESTRSESSION session,
                                                        KESTR_UNDO_CALLBACK function,
                                                        uintptr_t user);

/* --- Loading -------------------------------------------------------------------------------- */

/** Loads a picture; the previous one is gone, whatever the result. A file that ends early gives the
 *  rows it has and counts as loaded: see cGetScanLinesSuccessfullyRead.
 *  @param page      page of a file that has several, from 0.
 *  @param extra     value for the file's reader, 0 as a rule.
 *  @param callback  told of the progress in percent, or null. */
KESTR_API int32_t KESTR_CALL cLoadImageEx(HKESTRSESSION session, const char* path, int16_t page,
                                          uint32_t extra, KESTR_PROGRESS_CALLBACK callback,
                                          uintptr_t user);
KESTR_API int32_t KESTR_CALL cLoadImageExW(HKESTRSESSION session, const KESTR_CHAR* path,
                                           int16_t page, uint32_t extra,
                                           KESTR_PROGRESS_CALLBACK callback, uintptr_t user);

/** Shows the next frame of an animated GIF, beginning again behind the last one.
 *  @param rectangle4  receives left, top, right and bottom of the area that changed, in pixels.
 *  @return 1, or 0 when the image is no GIF of two frames at least. */
KESTR_API int32_t KESTR_CALL cLoadNextAnimatedGIFPage(HKESTRSESSION session, int32_t* rectangle4);

/** Stops the load that runs on this session, as soon as its loop sees it. May be called from
 *  another thread. */
KESTR_API void KESTR_CALL cAbortImageLoad(HKESTRSESSION session);

/** @return rows that the last load delivered. */
KESTR_API uint32_t KESTR_CALL cGetScanLinesSuccessfullyRead(HKESTRSESSION session);

/** Loads a picture reduced to fit into `width` x `height` pixels; a smaller one stays as it is.
 *  The Ex form's flag lets the reader deliver at most that size, not at least. */
KESTR_API int32_t KESTR_CALL cLoadThumbnail(HKESTRSESSION session, const char* path, int16_t width,
                                            int16_t height);
KESTR_API int32_t KESTR_CALL cLoadThumbnailW(HKESTRSESSION session, const KESTR_CHAR* path,
                                             int16_t width, int16_t height);
KESTR_API int32_t KESTR_CALL cLoadThumbnailEx(HKESTRSESSION session, const char* path,
                                              int16_t width, int16_t height, int32_t flag);
KESTR_API int32_t KESTR_CALL cLoadThumbnailExW(HKESTRSESSION session, const KESTR_CHAR* path,
                                               int16_t width, int16_t height, int32_t flag);

/** Takes a bitmap from memory.
 *  @param header     a BITMAPINFOHEADER or one of the longer forms of 108 or 124 bytes, then its
 *                    palette or masks.
 *  @param pixels     its rows, padded to 4 bytes, bottom-up unless the height is negative.
 *  @param alphaFlag  the fourth byte of 32-bit pixels is alpha.
 *  @param keepImage  keep the image's metadata and take a snapshot first when auto-undo is on. */
KESTR_API int32_t KESTR_CALL cLoadDIBitmap(HKESTRSESSION session, const void* header,
                                           const void* pixels, int32_t alphaFlag,
                                           int32_t keepImage);

/** Takes a bitmap from an array of bytes (VT_UI1): header, palette or masks, pixels. */
KESTR_API int32_t KESTR_CALL cLoadDIBArray(HKESTRSESSION session, SAFEARRAY* array,
                                           int32_t alphaFlag);

/** Takes `width` x `height` pixels, top row first, without padding: one byte each for gray, else
 *  blue, green, red.
 *  @return 1, or 0 when `byteCount` is below what they need; the old image then stays. */
KESTR_API int32_t KESTR_CALL cLoadImage8(HKESTRSESSION session, const uint8_t* pixels,
                                         uint32_t byteCount, uint32_t width, uint32_t height,
                                         int32_t gray, KESTR_PROGRESS_CALLBACK callback,
                                         uintptr_t user);

/** Makes a picture of 24 bits a pixel filled with a colour. */
KESTR_API void KESTR_CALL cNewImage(HKESTRSESSION session, uint32_t width, uint32_t height,
                                    uint32_t colour);

/** Lays another session's picture over this one, its top left corner at (x, y), which may lie
 *  outside.
 *  @param opacity  0 changes nothing, 255 covers.
 *  @param feather  width of the soft edge in pixels. */
KESTR_API int32_t KESTR_CALL cMergeImage(HKESTRSESSION session, HKESTRSESSION source, int32_t x,
                                         int32_t y, uint8_t opacity, uint16_t feather);

/** Makes a session that holds a scaled copy of the picture.
 *  @param keepAspect   keep the proportions inside `width` x `height`.
 *  @param interpolate  smooth when enlarging.
 *  @param reduceMode   when reducing: 0 nearest pixel, 1 AND, 2 OR, 3 average of the pixels.
 *  @return the new session, to be freed with cDestroySession, or null. */
KESTR_API HKESTRSESSION KESTR_CALL cCreateScaledImage(HKESTRSESSION session, int16_t width,
                                                      int16_t height, int32_t keepAspect,
                                                      uint32_t interpolate, int32_t reduceMode);

/** The same by one of the methods of cOpResizeExL. */
KESTR_API HKESTRSESSION KESTR_CALL cCreateScaledImageEx(HKESTRSESSION session, int16_t width,
                                                        int16_t height, int32_t method,
                                                        int32_t keepAspect);

/* --- Saving --------------------------------------------------------------------------------- */

/** Writes the picture, straight to the path. The type id alone chooses the format; a depth that the
 *  format does not hold is refused, not converted.
 *  @param option    a number that a few formats use, else 0.
 *  @param callback  told of the progress in percent, or null. */
KESTR_API int32_t KESTR_CALL cSave(HKESTRSESSION session, const char* path, int32_t typeId,
                                   int32_t option, KESTR_PROGRESS_CALLBACK callback,
                                   uintptr_t user);
KESTR_API int32_t KESTR_CALL cSaveW(HKESTRSESSION session, const KESTR_CHAR* path, int32_t typeId,
                                    int32_t option, KESTR_PROGRESS_CALLBACK callback,
                                    uintptr_t user);

/** Writes the palette of an image below 24 bits a pixel as a RIFF palette file. */
KESTR_API int32_t KESTR_CALL cSavePalette(HKESTRSESSION session, const char* path);
KESTR_API int32_t KESTR_CALL cSavePaletteW(HKESTRSESSION session, const KESTR_CHAR* path);

/** Copies a JPEG file with `text` as its one comment; an empty text removes the comment. Source and
 *  destination may be the same file. */
KESTR_API int32_t KESTR_CALL cMergeComment(const char* text, const char* sourcePath,
                                           const char* destinationPath);
KESTR_API int32_t KESTR_CALL cMergeCommentW(const KESTR_CHAR* text, const KESTR_CHAR* sourcePath,
                                            const KESTR_CHAR* destinationPath);

/** Drops the 16-bit store, EXIF, IPTC, the sound clip and the comment. */
KESTR_API int32_t KESTR_CALL cRemoveExtraInfo(HKESTRSESSION session);

/** Drops EXIF, IPTC, the sound clip and the comment. */
KESTR_API int32_t KESTR_CALL cRemoveMetadata(HKESTRSESSION session);

/* --- Undo and redo: whole pictures on two stacks; the calls work without a loaded image too --- */

/** Puts a snapshot of the picture on the undo stack. */
KESTR_API void KESTR_CALL cPushUndo(HKESTRSESSION session);

/** Brings back the newest snapshot. With auto-undo on, the present picture goes to redo first.
 *  @return 1, or 0 when there is none. */
KESTR_API int32_t KESTR_CALL cPopUndo(HKESTRSESSION session);

/** Brings back the newest snapshot and leaves it on the stack.
 *  @return 1, or 0 when there was none: the present picture is then pushed. */
KESTR_API int32_t KESTR_CALL cPeekUndo(HKESTRSESSION session);

/** Puts a snapshot of the picture on the redo stack. */
KESTR_API void KESTR_CALL cPushRedo(HKESTRSESSION session);

/** Brings back the newest redo snapshot. With auto-undo on, the present picture goes to undo first,
 *  even when there is nothing to redo.
 *  @return 1, or 0 when there is none. */
KESTR_API int32_t KESTR_CALL cPopRedo(HKESTRSESSION session);

/** @return snapshots on the stack. */
KESTR_API uint32_t KESTR_CALL cUndoStackDepth(HKESTRSESSION session);
KESTR_API uint32_t KESTR_CALL cRedoStackDepth(HKESTRSESSION session);

/** Limits the bytes of all snapshots together; the oldest go first, redo before undo. 0, as in a
 *  new session, is no limit. */
KESTR_API void KESTR_CALL cSetUndoRedoLimit(HKESTRSESSION session, uint32_t bytes);

/** @return bytes of the stack's snapshots. */
KESTR_API uint32_t KESTR_CALL cUndoDataSize(HKESTRSESSION session);
KESTR_API uint32_t KESTR_CALL cRedoDataSize(HKESTRSESSION session);

/** Drops the oldest snapshot. */
KESTR_API void KESTR_CALL cTrimUndo(HKESTRSESSION session);
KESTR_API void KESTR_CALL cTrimRedo(HKESTRSESSION session);

/** Drops the newest snapshot, only that one. */
KESTR_API void KESTR_CALL cPurgeUndo(HKESTRSESSION session);
KESTR_API void KESTR_CALL cPurgeRedo(HKESTRSESSION session);

/* --- Reading the image ---------------------------------------------------------------------- */

/** @param width, height                  of the picture in pixels.
 *  @param bitsPerPixel                    of the display bitmap, doubled for an image that has a
 *                                         16-bit store.
 *  @param originalWidth, originalHeight   of the picture in the file, before a reduction.
 *  @param pageCount                       1 at least.
 *  @param gamma                           of the file, 0.4545... where it names none. */
KESTR_API int32_t KESTR_CALL cGetImageInfo(HKESTRSESSION session, uint32_t* width, uint32_t* height,
                                           uint8_t* bitsPerPixel, uint32_t* originalWidth,
                                           uint32_t* originalHeight, int32_t* typeId,
                                           int32_t* pageCount, int32_t* isGray, double* gamma);

/** Gives the header and palette of the display bitmap; it belongs to the image. */
KESTR_API int32_t KESTR_CALL cGetBITMAPINFOPtr(HKESTRSESSION session, BITMAPINFO** info);

/** Gives the display bitmap: rows of 1, 4, 8 or 24 bits a pixel, bottom row first, each padded to
 *  4 bytes. A 24-bit pixel is blue, green, red.
 *  @param bits  receives the first byte, or null when there are no pixels; belongs to the image,
 *               valid until the next call that changes or replaces it.
 *  @return 1, or 0 when the session is null or holds no image. */
KESTR_API int32_t KESTR_CALL cGetBitsPtr(HKESTRSESSION session, uint8_t** bits);

/** Gives the 16-bit store: `height` rows of `width` pixels, top row first, without padding.
 *  A pixel is blue, green, red, or one gray sample when the display bitmap has 8 bits a pixel.
 *  @param bits16  receives the first sample (0 to 65535 each), or null when there is no such store;
 *                 belongs to the image, valid until the next call that changes or replaces it.
 *  @return 1, or 0 when the session is null or holds no image. */
KESTR_API int32_t KESTR_CALL cGetBits16Ptr(HKESTRSESSION session, uint16_t** bits16);

/** Makes the display bitmap anew from the 16-bit store, after a caller wrote to that. */
KESTR_API void KESTR_CALL cRefreshDisplayData(HKESTRSESSION session);

/** @param x, y               pixels from the left and from the top.
 *  @param red, green, blue   0 to 65535 for an image that has a 16-bit store, else 0 to 255.
 *  @return 1, or 0 outside the picture, where all three become 0. */
KESTR_API int32_t KESTR_CALL cGetPixelColor(HKESTRSESSION session, int32_t x, int32_t y,
                                            uint16_t* red, uint16_t* green, uint16_t* blue);

/** Counts the values of the display bitmap.
 *  @param combined256, red256, green256, blue256  tables of 256 counts.
 *  @param luminance  the combined table counts the luminance of each pixel once, otherwise each
 *                    of its three values. */
KESTR_API void KESTR_CALL cGetImageHistogram(HKESTRSESSION session, uint32_t* combined256,
                                             uint32_t* red256, uint32_t* green256,
                                             uint32_t* blue256, int32_t luminance);

/** The same as arrays of 256 numbers (VT_I4). */
KESTR_API void KESTR_CALL cGetImageHistogramA(HKESTRSESSION session, SAFEARRAY** combined,
                                              SAFEARRAY** red, SAFEARRAY** green, SAFEARRAY** blue,
                                              int32_t luminance);

/** @return the colour temperature of a raw file in kelvin, 0 when it is not known. */
KESTR_API uint16_t KESTR_CALL cGetImageColorTemperature(HKESTRSESSION session);

/** Gives the description of the picture's file: lines that begin with "Format: ". */
KESTR_API int32_t KESTR_CALL cGetImageDescription(HKESTRSESSION session, BSTR* text);

/** Gives the comment; its lines end with CR LF. */
KESTR_API int32_t KESTR_CALL cGetImageComments(HKESTRSESSION session, BSTR* text);

/** Sets the comment; a null text clears it. */
KESTR_API int32_t KESTR_CALL cPutImageComments(HKESTRSESSION session, const char* text);

/** Gives what is known of the camera and the exposure as text, null when nothing is. */
KESTR_API int32_t KESTR_CALL cGetImageCameraInfo(HKESTRSESSION session, BSTR* text);

/** Gives the date of the picture as its camera wrote it, null when there is none. */
KESTR_API int32_t KESTR_CALL cGetImageCameraDate(HKESTRSESSION session, BSTR* text);

/** @return 1 when the file brought a sound clip. */
KESTR_API int32_t KESTR_CALL cImageHasSound(HKESTRSESSION session);

/** Plays the clip. */
KESTR_API int32_t KESTR_CALL cPlayImageSound(HKESTRSESSION session);

/** Gives how long the present frame of an animation stays. */
KESTR_API int32_t KESTR_CALL cGetGIF_TimeDelay(HKESTRSESSION session, uint32_t* milliseconds);

/** Gives the printing resolution in pixels per inch, 0 where the file told none. */
KESTR_API int32_t KESTR_CALL cGetPhysicalPixelsPerInch(HKESTRSESSION session, uint16_t* x,
                                                       uint16_t* y);

/** Sets the printing resolution, in the EXIF record too. */
KESTR_API int32_t KESTR_CALL cSetPhysicalPixelsPerInch(HKESTRSESSION session, uint16_t x,
                                                       uint16_t y);

/** Stores the gamma of the picture's values; no pixel changes. */
KESTR_API int32_t KESTR_CALL cSetImageGamma(HKESTRSESSION session, double gamma);

/* --- Transparency and selection ------------------------------------------------------------- */

/** Gives the transparent palette index, 0xFFFF for none.
 *  @return 1 also without an image, when nothing is written. */
KESTR_API int32_t KESTR_CALL cGetTransparentColorIndex(HKESTRSESSION session, uint16_t* index);

/** Makes one palette entry transparent, -1 for none; all other transparency goes. */
KESTR_API int32_t KESTR_CALL cSetTransparentColorIndex(HKESTRSESSION session, int16_t index);

/** @param tolerance  in thousandths of the largest distance of two colours.
 *  @return 1, or 0 when no colour is transparent. */
KESTR_API int32_t KESTR_CALL cGetTransparentColorInfo(HKESTRSESSION session, uint32_t* colour,
                                                      uint16_t* tolerance);

/** Makes a colour transparent; all other transparency goes.
 *  @param tolerance  colours within so many thousandths of the largest distance go with it. */
KESTR_API int32_t KESTR_CALL cSetTransparentColorInfo(HKESTRSESSION session, uint32_t colour,
                                                      uint16_t tolerance);

/** Makes no colour transparent. */
KESTR_API int32_t KESTR_CALL cUndefineTransparentColor(HKESTRSESSION session);

/** Gives one alpha byte a pixel, top row first, without padding; 0 is transparent.
 *  @return 1, or 0 when the image has none. */
KESTR_API int32_t KESTR_CALL cGetAlphaMask(HKESTRSESSION session, SAFEARRAY** bytes);

/** Takes width x height alpha bytes, top row first; all other transparency goes. Needs at least 4
 *  bits a pixel. */
KESTR_API int32_t KESTR_CALL cLoadAlphaMask(HKESTRSESSION session, const uint8_t* bytes);

/** Lays the picture over a colour, so that nothing stays transparent.
 *  @return 1, or 0 when nothing was. */
KESTR_API int32_t KESTR_CALL cMergeTransparency(HKESTRSESSION session, uint32_t colour);

/** Confines operations to a rectangle of pixels, all four sides included. A left of -1 takes the
 *  confinement away.
 *  @param feather  width of the soft edge in pixels. */
KESTR_API int32_t KESTR_CALL cSetOpRectangle(HKESTRSESSION session, int32_t left, int32_t top,
                                             int32_t right, int32_t bottom, uint16_t feather);

/** Weighs operations inside the rectangle by a byte a pixel: (right - left) x (bottom - top) bytes
 *  of the sides given to cSetOpRectangle, top row first. Null takes the mask away. */
KESTR_API void KESTR_CALL cLoadOpMask(HKESTRSESSION session, const uint8_t* mask);

/* --- ICC profiles --------------------------------------------------------------------------- */

/** @return 1 when the image carries a profile. */
KESTR_API int32_t KESTR_CALL cImageHasICCProfile(HKESTRSESSION session);

/** Gives the bytes of the profile, null when there is none. */
KESTR_API int32_t KESTR_CALL cGetImageICCProfile(HKESTRSESSION session, SAFEARRAY** bytes);

/** Gives the image another profile; no pixel changes. `size` is in bytes. */
KESTR_API int32_t KESTR_CALL cLoadICCProfile(HKESTRSESSION session, const void* data,
                                             uint32_t size);

/** Converts the picture from its profile to another.
 *  @param data      the profile to convert to, `size` bytes.
 *  @param intent    rendering intent: 0 perceptual, 1 relative colorimetric, 2 saturation,
 *                   3 absolute colorimetric.
 *  @param callback  told of the progress in percent, or null. */
KESTR_API int32_t KESTR_CALL cApplyICCProfile(HKESTRSESSION session, const void* data,
                                              uint32_t size, uint32_t intent);
KESTR_API int32_t KESTR_CALL cApplyICCProfileEx(HKESTRSESSION session, const void* data,
                                                uint32_t size, uint32_t intent,
                                                KESTR_PROGRESS_CALLBACK callback, uintptr_t user);

/** Gives the product name of a profile. No session is needed. */
KESTR_API int32_t KESTR_CALL cGetICCProfileName(const void* data, uint32_t size, BSTR* name);

/* --- Metadata ------------------------------------------------------------------------------- */

/** Gives the XMP packet of the image as bytes, null when there is none. */
KESTR_API int32_t KESTR_CALL cGetImageXmp(HKESTRSESSION session, SAFEARRAY** bytes);

/** Takes an XMP packet of `size` bytes; null or 0 bytes removes it. */
KESTR_API int32_t KESTR_CALL cLoadXmp(HKESTRSESSION session, const void* data, uint32_t size);

/** Frees a tree that cGetImageFileMetadataEx gave out; null does nothing. */
KESTR_API void KESTR_CALL cDestroyWicMetadataRoot(void* root);

/** Renders a record as lines of name, separator and value.
 *  @param separator, lineEnd  as the caller wants them, such as ":\t" and "\r\n". */
KESTR_API int32_t KESTR_CALL cEXIF_GetAsString(CEXIF_Members* record, const KESTR_CHAR* separator,
                                               const KESTR_CHAR* lineEnd, BSTR* text);

/** Give a date of the record as it stands there, "YYYY:MM:DD HH:MM:SS" as a rule.
 *  @return 1, or 0 when the record has none. */
KESTR_API int32_t KESTR_CALL cEXIF_GetDateTime(CEXIF_Members* record, BSTR* text);
KESTR_API int32_t KESTR_CALL cEXIF_GetDateTimeOriginal(CEXIF_Members* record, BSTR* text);
KESTR_API int32_t KESTR_CALL cEXIF_GetDateTimeDigitized(CEXIF_Members* record, BSTR* text);

/** Gives the orientation, 1 to 8 where the file is sound.
 *  @return 1, or 0 when the record has none. */
KESTR_API int32_t KESTR_CALL cEXIF_GetOrientation(CEXIF_Members* record, uint16_t* orientation);

/** @return a new empty record, to be freed with cDestroyIPTC. */
KESTR_API CIPTC_Members* KESTR_CALL cNewIPTC(void);

/** Renders a record as lines of name, separator and value. */
KESTR_API int32_t KESTR_CALL cIPTC_GetAsString(CIPTC_Members* record, const KESTR_CHAR* separator,
                                               const KESTR_CHAR* lineEnd, BSTR* text);

/** Gives a copy of the image's record, to be freed with cDestroyIPTC. */
KESTR_API int32_t KESTR_CALL cGetImageIPTC_Info(HKESTRSESSION session, CIPTC_Members** record);

/* --- Questions to a file, without a session and without decoding its pixels ------------------ */

/** Tells what a file is.
 *  @param exactStart           as for cSetJPEGParams.
 *  @param bits                 a pixel; 48 or 16 for a file of more than 8 bits a sample.
 *  @param mcuWidth, mcuHeight  pixels of a JPEG file's smallest coded unit, else 0.
 *  @param error                receives why the call failed, null when it did not. */
KESTR_API int32_t KESTR_CALL cGetImageFileInfo(const char* path, int32_t exactStart,
                                               int32_t* typeId, uint32_t* width, uint32_t* height,
                                               uint8_t* bits, uint32_t* pages, BSTR* description,
                                               BSTR* comment, BSTR* cameraInfo, BSTR* cameraDate,
                                               uint16_t* mcuWidth, uint16_t* mcuHeight,
                                               BSTR* error);
KESTR_API int32_t KESTR_CALL cGetImageFileInfoW(const KESTR_CHAR* path, int32_t exactStart,
                                                int32_t* typeId, uint32_t* width, uint32_t* height,
                                                uint8_t* bits, uint32_t* pages, BSTR* description,
                                                BSTR* comment, BSTR* cameraInfo, BSTR* cameraDate,
                                                uint16_t* mcuWidth, uint16_t* mcuHeight,
                                                BSTR* error);

/** The same for one page, with the records, null when the file has none. They are freed with
 *  cDestroyEXIF and cDestroyIPTC. */
KESTR_API int32_t KESTR_CALL cGetImageFileInfoEx(
    const char* path, uint32_t page, int32_t exactStart, int32_t* typeId, uint32_t* width,
    uint32_t* height, uint8_t* bits, uint32_t* pages, BSTR* description, BSTR* comment,
    BSTR* cameraInfo, BSTR* cameraDate, CEXIF_Members** exif, CIPTC_Members** iptc,
    uint16_t* mcuWidth, uint16_t* mcuHeight, BSTR* error);
KESTR_API int32_t KESTR_CALL cGetImageFileInfoExW(
    const KESTR_CHAR* path, uint32_t page, int32_t exactStart, int32_t* typeId, uint32_t* width,
    uint32_t* height, uint8_t* bits, uint32_t* pages, BSTR* description, BSTR* comment,
    BSTR* cameraInfo, BSTR* cameraDate, CEXIF_Members** exif, CIPTC_Members** iptc,
    uint16_t* mcuWidth, uint16_t* mcuHeight, BSTR* error);

/** Gives the records of a file.
 *  @param stopAtMarkerIPTC  do not look for IPTC behind the first block that has it. */
KESTR_API int32_t KESTR_CALL cGetImageFileMetadata(const char* path, int32_t exactStart,
                                                   int32_t stopAtMarkerIPTC, CEXIF_Members** exif,
                                                   CIPTC_Members** iptc);
KESTR_API int32_t KESTR_CALL cGetImageFileMetadataW(const KESTR_CHAR* path, int32_t exactStart,
                                                    int32_t stopAtMarkerIPTC, CEXIF_Members** exif,
                                                    CIPTC_Members** iptc);

/** The same with the tree of metadata blocks that a codec of Windows found in the file.
 *  @param metadataRoot  belongs to the caller, who frees it with cDestroyWicMetadataRoot; null when
 *                       our own readers take the file, and on other systems. */
KESTR_API int32_t KESTR_CALL cGetImageFileMetadataEx(const char* path, int32_t exactStart,
                                                     int32_t stopAtMarkerIPTC, CEXIF_Members** exif,
                                                     CIPTC_Members** iptc, void** metadataRoot);
KESTR_API int32_t KESTR_CALL cGetImageFileMetadataExW(const KESTR_CHAR* path, int32_t exactStart,
                                                      int32_t stopAtMarkerIPTC,
                                                      CEXIF_Members** exif, CIPTC_Members** iptc,
                                                      void** metadataRoot);

/** Gives the XMP packet of a file, an empty array when it has none. */
KESTR_API int32_t KESTR_CALL cGetImageFileXmp(const char* path, SAFEARRAY** bytes, BSTR* error);
KESTR_API int32_t KESTR_CALL cGetImageFileXmpW(const KESTR_CHAR* path, SAFEARRAY** bytes,
                                               BSTR* error);

/** Gives the ICC profile of a file, an empty array when it has none, and the profile's name. */
KESTR_API int32_t KESTR_CALL cGetImageICCProfile_Info(const char* path, BSTR* name,
                                                      SAFEARRAY** bytes, BSTR* error);
KESTR_API int32_t KESTR_CALL cGetImageICCProfile_InfoW(const KESTR_CHAR* path, BSTR* name,
                                                       SAFEARRAY** bytes, BSTR* error);

/* --- Turning files -------------------------------------------------------------------------- */

/** Turns a file on disc, a JPEG file without decoding it. Source and destination may be the same.
 *  @param op                0 a quarter turn clockwise, 1 anticlockwise, 2 a half turn, 3 mirrored
 *                           left to right.
 *  @param trim              cut edge blocks of a JPEG file that cannot be turned.
 *  @param applyOrientation  turn the picture upright first, as its EXIF orientation says.
 *  @param resetOrientation  write orientation 1 into the result.
 *  @param error             receives why the call failed, null when it did not.
 *  @return 0xFFFF, or 0 on failure. */
KESTR_API uint16_t KESTR_CALL cRotateImageFileEx(const char* source, const char* destination,
                                                 uint32_t op, int32_t trim,
                                                 int32_t applyOrientation, int32_t resetOrientation,
                                                 BSTR* error);
KESTR_API uint16_t KESTR_CALL cRotateImageFileExW(const KESTR_CHAR* source,
                                                  const KESTR_CHAR* destination, uint32_t op,
                                                  int32_t trim, int32_t applyOrientation,
                                                  int32_t resetOrientation, BSTR* error);

/* --- Operations. Each takes an undo snapshot first when auto-undo is on. Tone and neighbourhood
 *     operations keep to the selection; what changes the size or the palette takes the whole. -----
 */

/** Adds a percentage of each sample to it; nothing happens at 1 bit a pixel. */
KESTR_API int32_t KESTR_CALL cOpBrightness(HKESTRSESSION session, int16_t percent);

/** Spreads samples from the middle by a percentage; nothing happens at 1 bit a pixel. */
KESTR_API int32_t KESTR_CALL cOpContrast(HKESTRSESSION session, int16_t percent);

/** Inverts every sample. */
KESTR_API int32_t KESTR_CALL cOpNegative(HKESTRSESSION session);

/** Adds a percentage to each channel. */
KESTR_API int32_t KESTR_CALL cOpRGBAdjust(HKESTRSESSION session, int16_t red, int16_t green,
                                          int16_t blue);

/** Adds percentages to hue, saturation and value. */
KESTR_API int32_t KESTR_CALL cOpHSVAdjust(HKESTRSESSION session, int16_t hue, int16_t saturation,
                                          int16_t value);

/** Applies a gamma curve. */
KESTR_API int32_t KESTR_CALL cOpGammaAdjust(HKESTRSESSION session, double gamma);

/** Takes the picture from its gamma to a power curve. */
KESTR_API int32_t KESTR_CALL cOpAdjustToPwrCurve(HKESTRSESSION session, double power);

/** Sets black point, middle and white point of each channel, in 0 to 255, or 0 to 65535 for an
 *  image that has a 16-bit store. */
KESTR_API int32_t KESTR_CALL cOpAdjustLevels(HKESTRSESSION session, uint32_t redLow,
                                             uint32_t redMid, uint32_t redHigh, uint32_t greenLow,
                                             uint32_t greenMid, uint32_t greenHigh,
                                             uint32_t blueLow, uint32_t blueMid, uint32_t blueHigh);

/** Scales the channels so that a colour of the picture becomes neutral. Needs 4 bits a pixel at
 *  least; a colour with a channel of 0 changes nothing.
 *  @param mode  what it becomes: 1 gray of its luminance, 2 black, any other value white. */
KESTR_API int32_t KESTR_CALL cOpSetColorPoint(HKESTRSESSION session, uint8_t mode, uint32_t colour);

/** Sets one pixel, counted from the top left corner; values as cGetPixelColor gives them. */
KESTR_API int32_t KESTR_CALL cOpSetPixelColor(HKESTRSESSION session, uint32_t x, uint32_t y,
                                              uint16_t red, uint16_t green, uint16_t blue);

/** Makes the picture gray. */
KESTR_API int32_t KESTR_CALL cOpGrayScale(HKESTRSESSION session);

/** Widens the pixels to 4, 8 or 24 bits. */
KESTR_API int32_t KESTR_CALL cOpIncreaseBitsPerPixel(HKESTRSESSION session, int32_t bits);
KESTR_API int32_t KESTR_CALL cOpIncreaseBitsPerPixel_s(HKESTRSESSION session, int16_t bits);

/** Drops the 16-bit store. */
KESTR_API int32_t KESTR_CALL cOpRemove16BitPrecision(HKESTRSESSION session);

/** Convolves with a matrix of `width` x `height` values, row after row, and adds the biases. */
KESTR_API int32_t KESTR_CALL cOpConvolveEx(HKESTRSESSION session, int16_t width, int16_t height,
                                           const int16_t* matrix, uint16_t redBias,
                                           uint16_t greenBias, uint16_t blueBias);

/** Sharpens with a 3 x 3 kernel.
 *  @param strength  0 to 100, the strongest. */
KESTR_API int32_t KESTR_CALL cOpSharpen(HKESTRSESSION session, int16_t strength);

/** Softens with a 3 x 3 kernel.
 *  @param strength  0 changes nothing, 100 is the strongest. */
KESTR_API int32_t KESTR_CALL cOpSoften(HKESTRSESSION session, int16_t strength);

/** Takes the median of the window of side 2 x radius + 1.
 *  @return 1, or 0 below 4 bits a pixel. */
KESTR_API int32_t KESTR_CALL cOpMedianFilter(HKESTRSESSION session, int32_t radius);
KESTR_API int32_t KESTR_CALL cOpReduceNoise(HKESTRSESSION session, int32_t radius);

/** Makes edges glow. */
KESTR_API int32_t KESTR_CALL cOpNeon(HKESTRSESSION session);

/** Takes the commonest brightness of the window of side 2 x radius + 1. */
KESTR_API int32_t KESTR_CALL cOpOilPaint(HKESTRSESSION session, int16_t radius);

/** Scales the picture; the operation rectangle goes. Arguments as for cCreateScaledImage. */
KESTR_API int32_t KESTR_CALL cOpResize(HKESTRSESSION session, int16_t width, int16_t height,
                                       int32_t keepAspect, uint32_t interpolate,
                                       uint8_t reduceMode);

/** Scales the picture by one method: 0 nearest pixel, 1 AND, 2 OR of the pixels, 3 triangle, 4
 * cubic B-spline, 5 Mitchell, 6 Lanczos with three lobes, 7 Blackman windowed sinc. Others are
 * refused.
 *  @return 1, or 0 when there was nothing to do or it failed. */
KESTR_API int32_t KESTR_CALL cOpResizeExL(HKESTRSESSION session, int32_t width, uint32_t height,
                                          uint8_t method, int32_t keepAspect);

/** Enlarges the canvas.
 *  @param placement  1 the picture goes to the middle, 2 it is repeated all over the canvas, any
 *                    other value top left.
 *  @param colour     of the new pixels.
 *  @return 1, or 0 when the canvas would be smaller than the picture. */
KESTR_API int32_t KESTR_CALL cEnlargeImage(HKESTRSESSION session, int32_t width, int32_t height,
                                           uint8_t placement, uint32_t colour);

/** Crops to the operation rectangle.
 *  @return 1, or 0 when there is none. */
KESTR_API int32_t KESTR_CALL cOpCrop(HKESTRSESSION session);

/** Crops a border of one colour away.
 *  @param red, green, blue  values as cGetPixelColor gives them.
 *  @return 1, or 0 when nothing was cropped. */
KESTR_API int32_t KESTR_CALL cOpCropBorder(HKESTRSESSION session, uint16_t red, uint16_t green,
                                           uint16_t blue, uint8_t tolerance);
KESTR_API int32_t KESTR_CALL cOpCropBorderEx(HKESTRSESSION session, uint16_t red, uint16_t green,
                                             uint16_t blue, uint32_t tolerance);

/** Mirrors left to right. */
KESTR_API int32_t KESTR_CALL cOpMirror(HKESTRSESSION session);

/** Turns by any angle, with the session's background colour in the corners. */
KESTR_API int32_t KESTR_CALL cOpRotateFine(HKESTRSESSION session, double degrees);

/** Replaces every second row of an interlaced picture; the 16-bit store goes.
 *  @param field        which rows are replaced: the odd ones for 0, else the even ones.
 *  @param interpolate  replace a row by the mean of its neighbours, not by a copy of the next. */
KESTR_API int32_t KESTR_CALL cOpDeInterlace(HKESTRSESSION session, uint32_t field,
                                            int32_t interpolate);

/** Reduces to a palette made for the picture.
 *  @param colours  of the palette, at most 2 to the power of `bits`.
 *  @param bits     1, 4 or 8 a pixel.
 *  @param dither   0 none, else the kind of dithering. */
KESTR_API int32_t KESTR_CALL cOpReduceColors(HKESTRSESSION session, int16_t colours, int16_t bits,
                                             uint32_t dither);

/** Reduces to the standard palette of 4 or 8 bits a pixel. */
KESTR_API int32_t KESTR_CALL cOpMatchStandardPalette(HKESTRSESSION session, int16_t bits,
                                                     uint32_t dither);

/** Reduces to the palette of a file (RIFF, or the text form of JASC). */
KESTR_API int32_t KESTR_CALL cOpMatchToPalette(HKESTRSESSION session, const char* path,
                                               uint32_t dither);
KESTR_API int32_t KESTR_CALL cOpMatchToPaletteW(HKESTRSESSION session, const KESTR_CHAR* path,
                                                uint32_t dither);

/** Darkens saturated pixels of one hue inside the operation rectangle.
 *  @param saturationMin  0 to 100, the least saturation that is changed.
 *  @param hue            degrees, the middle of the hues that are changed.
 *  @param valuePercent   what remains of the value. */
KESTR_API int32_t KESTR_CALL cOpRemoveRedEye(HKESTRSESSION session, uint8_t saturationMin,
                                             int16_t hue, uint8_t valuePercent);

/** Stretch the picture's values so that a share of the darkest and of the brightest pixels becomes
 *  black and white: each channel by itself, the share at each end, or all alike, half at each end.
 *  @param percent  the share as a fraction, 0.01 for one in a hundred; a negative one is refused.
 */
KESTR_API int32_t KESTR_CALL cOpAutoLevelEx(HKESTRSESSION session, double percent);
KESTR_API int32_t KESTR_CALL cOpAutoContrastEx(HKESTRSESSION session, double percent);

#ifdef __cplusplus
}
#endif

#endif
