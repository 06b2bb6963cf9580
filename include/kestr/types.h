/* Types of Kestr's interface: calling convention, handles, texts, arrays and bitmaps.
 *
 * On Windows the texts and arrays are the system's own (oleaut32) and this header only declares
 * their names, exactly as <windows.h> and <oleauto.h> do, so that those may be included before or
 * after it, or not at all. Elsewhere the same structures and the functions that a caller needs to
 * make and free them are declared here and exported by the library. */
#ifndef KESTR_TYPES_H
#define KESTR_TYPES_H

#include <stddef.h>
#include <stdint.h>

#if !defined(_WIN32) && !defined(__cplusplus)
#include <uchar.h>
#endif

/* KESTR_API marks what the library exports, KESTR_CALL is the calling convention of every export
 * and callback. */
#ifdef _WIN32
#define KESTR_API
#define KESTR_CALL __stdcall
#else
#define KESTR_API __attribute__((visibility("default")))
#define KESTR_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** One unit of UTF-16 text. */
#ifdef _WIN32
typedef wchar_t KESTR_CHAR;
#else
typedef char16_t KESTR_CHAR;
#endif

/** A text owned by whoever holds it: points at the first unit of a NUL-terminated UTF-16 text. Its
 *  length in bytes, without the NUL, is the 32-bit number right before that unit. Made by
 *  SysAllocString and its like, freed with SysFreeString; null counts as the empty text. */
typedef KESTR_CHAR* BSTR;

/** An array with its element type and bounds; those of this interface have one dimension and the
 *  lower bound 0. Made by SafeArrayCreateVector, freed with SafeArrayDestroy. */
typedef struct tagSAFEARRAY SAFEARRAY;

/** Header of a device-independent bitmap: a BITMAPINFOHEADER of 40 bytes, then its palette. */
typedef struct tagBITMAPINFO BITMAPINFO;

/** A session: one image and the settings that outlive it. Serves one thread at a time. */
typedef struct CDLLSession* HKESTRSESSION;

/** An EXIF record, freed with cDestroyEXIF. */
typedef struct CEXIF_Members CEXIF_Members;

/** An IPTC record, freed with cDestroyIPTC. */
typedef struct CIPTC_Members CIPTC_Members;

/** Told of progress: `user` is the value given along with the function, `percent` runs from 0 to
 *  100. The result is ignored; cAbortImageLoad is what stops a load. */
typedef int32_t(KESTR_CALL* KESTR_PROGRESS_CALLBACK)(uintptr_t user, int32_t percent);

/** Told of a snapshot that was taken: `flag` is 1 for undo, 0 for redo. */
typedef void(KESTR_CALL* KESTR_UNDO_CALLBACK)(uintptr_t user, int32_t flag);

#ifndef _WIN32

struct tagSAFEARRAYBOUND {
    uint32_t cElements;
    int32_t lLbound;
};
typedef struct tagSAFEARRAYBOUND SAFEARRAYBOUND;

struct tagSAFEARRAY {
    uint16_t cDims;
    uint16_t fFeatures;
    uint32_t cbElements; /* bytes of one element */
    uint32_t cLocks;
    void* pvData;
    SAFEARRAYBOUND rgsabound[1];
};

struct tagBITMAPINFOHEADER {
    uint32_t biSize;
    int32_t biWidth;
    int32_t biHeight;
    uint16_t biPlanes;
    uint16_t biBitCount;
    uint32_t biCompression;
    uint32_t biSizeImage;
    int32_t biXPelsPerMeter;
    int32_t biYPelsPerMeter;
    uint32_t biClrUsed;
    uint32_t biClrImportant;
};
typedef struct tagBITMAPINFOHEADER BITMAPINFOHEADER;

struct tagRGBQUAD {
    uint8_t rgbBlue;
    uint8_t rgbGreen;
    uint8_t rgbRed;
    uint8_t rgbReserved;
};
typedef struct tagRGBQUAD RGBQUAD;

struct tagBITMAPINFO {
    BITMAPINFOHEADER bmiHeader;
    RGBQUAD bmiColors[1]; /* really as many as the bitmap has palette entries */
};

/* Element types of an array; a caller of this interface meets VT_I4 and VT_UI1. */
typedef uint16_t VARTYPE;
enum {
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_I1 = 16,
    VT_UI1 = 17,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_UI8 = 21,
    VT_ARRAY = 0x2000
};

/** Copies a NUL-terminated text; null for a null pointer or when memory runs out. */
KESTR_API BSTR KESTR_CALL SysAllocString(const KESTR_CHAR* text);

/** Copies `length` units, which may include NULs. A null `text` leaves the units unset. Null when
 *  memory runs out. */
KESTR_API BSTR KESTR_CALL SysAllocStringLen(const KESTR_CHAR* text, uint32_t length);

/** Copies `byteLength` bytes as they are. A null `bytes` leaves them unset. Null when memory runs
 *  out. */
KESTR_API BSTR KESTR_CALL SysAllocStringByteLen(const char* bytes, uint32_t byteLength);

/** Frees a text; null is allowed. */
KESTR_API void KESTR_CALL SysFreeString(BSTR text);

/** Length in units, 0 for null. */
KESTR_API uint32_t KESTR_CALL SysStringLen(BSTR text);

/** Length in bytes, 0 for null. */
KESTR_API uint32_t KESTR_CALL SysStringByteLen(BSTR text);

/* The array functions that return int32_t give an HRESULT: 0 for success, else negative. */

/** An array of one dimension, zeroed. `type` is one of the VT_ numbers above (VT_ARRAY added to it
 *  changes nothing). Null for another type or when memory runs out. */
KESTR_API SAFEARRAY* KESTR_CALL SafeArrayCreateVector(VARTYPE type, int32_t lowerBound,
                                                      uint32_t count);

/** Frees the array and its data; refused while the data is accessed. Null is allowed. */
KESTR_API int32_t KESTR_CALL SafeArrayDestroy(SAFEARRAY* array);

/** Gives the first element and locks the array until SafeArrayUnaccessData. */
KESTR_API int32_t KESTR_CALL SafeArrayAccessData(SAFEARRAY* array, void** data);

/** Takes back one lock of SafeArrayAccessData. */
KESTR_API int32_t KESTR_CALL SafeArrayUnaccessData(SAFEARRAY* array);

/** Number of dimensions, 0 for null. */
KESTR_API uint32_t KESTR_CALL SafeArrayGetDim(SAFEARRAY* array);

/** Bytes of one element, 0 for null. */
KESTR_API uint32_t KESTR_CALL SafeArrayGetElemsize(SAFEARRAY* array);

/** First index of a dimension, which counts from 1. */
KESTR_API int32_t KESTR_CALL SafeArrayGetLBound(SAFEARRAY* array, uint32_t dimension,
                                                int32_t* bound);

/** Last index of a dimension, which counts from 1; the lower bound - 1 for an empty array. */
KESTR_API int32_t KESTR_CALL SafeArrayGetUBound(SAFEARRAY* array, uint32_t dimension,
                                                int32_t* bound);

/** The VT_ number of the elements. */
KESTR_API int32_t KESTR_CALL SafeArrayGetVartype(SAFEARRAY* array, VARTYPE* type);

#endif /* not Windows */

#ifdef __cplusplus
}
#endif

#endif
