/* libTload: opens the files of textile design and weaving.
 *
 * A picture is read in three calls, all on one thread:
 *
 *     returnLoaderFunctions(0, path)   detects the format and installs its loader in the calling thread
 *     getTryLoad()(path, ...)          opens the file and reports kind, size, resolution, palette, description
 *     getLoadBand()(rows, count, bytesPerRow)   delivers rows into the caller's buffer
 *     getEndLoad()()                   closes the file and frees what the loader held
 *
 * Threads: every function may be called from any number of threads at once. Current loader, settings, results in
 * library buffers and the open picture belong to the calling thread and are seen by no other; settings are made in
 * each thread that loads.
 *
 * Ownership: the caller owns the path, the output variables, the palette, the description and the row buffer. The
 * loader owns its file, buffers and temporary files from a successful tryLoad until endLoad.
 *
 * Unless a comment says otherwise, pointers must not be null.
 */
#ifndef TLOAD_H
#define TLOAD_H

#include <stdint.h>
#include <stdio.h>

#if defined(__GNUC__)
#define TLOAD_API __attribute__((visibility("default")))
#else
#define TLOAD_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The version of this header; llibVersion() tells the library's. */
#define TLOAD_VERSION "1.0.0"

typedef uint8_t u8;
typedef uint16_t u16;
typedef uint32_t u32;
typedef uint64_t u64;
typedef int32_t i32;
typedef int64_t i64;

/* What tryLoad and loadBand return. */
typedef enum LoadStatus {
    loadSuccess = 0,
    loadOutOfMemory = 2,        /* a buffer could not be allocated */
    loadCannotRead = 3,         /* the file cannot be opened, or its header cannot be read completely */
    loadDecoderError = 4,       /* the PNG or JPEG decoder reported an error */
    loadUnsupportedVariant = 5, /* the format is recognised, this variant of it is not read */
    loadWrongFormat = 6,        /* the file is not of this loader's format */
    loadBadData = 7             /* sizes out of range, or too few data while delivering rows */
} LoadStatus;

/* The layout of the rows that tryLoad announces and loadBand delivers. 3 to 6 are not used. */
typedef enum ImageKind {
    kindBilevel = 0, /* 1 bit a pixel, most significant bit leftmost, set bit = dark; (width + 7) / 8 bytes a row */
    kindIndexed = 1, /* 1 byte a pixel, an index into the palette; width bytes a row */
    kindRGB = 2,     /* 3 bytes a pixel: R, G, B; 3 x width bytes a row */
    kindRGBA = 7     /* 4 bytes a pixel: R, G, B, A with A = 255 opaque; 4 x width bytes a row */
} ImageKind;

/* The formats of the catalogue. */
typedef enum FormatName {
    formatGif = 1,
    formatPng = 2,
    formatPcx = 3,
    formatJpeg = 4,
    formatTiff = 5,
    formatSophisCard = 6,
    formatSophisImage = 7,
    formatBonas = 8,
    formatSchleicher = 9,
    formatWeave = 10,
    formatPbm = 11,
    formatStaubliJc4 = 12,
    formatStaubliJc3 = 13,
    formatStaubliJc5 = 14,
    formatStaubliJc4Network = 15,
    formatStaubliJc4Email = 16,
    formatTis = 17,
    formatGrosse = 18,
    formatEat = 19,
    formatStaubli1858 = 20,
    formatWif = 21,
    formatAvlJ1p = 22,
    formatBmp = 23,
    formatPun = 24,
    formatQte = 25,
    formatVaritexPat = 26,
    formatIamPat = 27,
    formatIamBbi = 28,
    formatTakemuraDat = 29,
    formatSometDop = 30,
    formatSometCop = 31,
    formatSophisWeave = 32,
    formatVamatexPid = 33,
    formatVamatexPiw = 34,
    formatQteMotif = 35,
    formatTongYuan = 36,
    formatPignone = 37,
    formatUwf = 38,
    formatDrape = 39,
    formatFabric = 40,
    formatUpt = 41,
    formatStaubliZc5 = 42,
    formatQtz = 43,
    formatDoStyle = 44,
    formatSmit = 45,
    formatApf = 46,
    formatColorado = 47,
    formatNedgraphicsPat = 48,
    formatDoWeave = 49,
    formatTakemuraCgs = 50,
    formatNissan = 51,
    formatSometArm = 52,
    formatZhuPat = 53,
    formatZhuSti = 54,
    formatPanter = 55,
    formatDoTech = 56,
    formatMuster = 57,
    formatNedgraphicsDes = 58,
    formatVectorPreview = 59,
    formatStaubliJc4Loom = 60,
    formatWbf = 61,
    formatWb = 62,
    formatPalette = 63,
    formatDis = 64,
    formatOrg = 65,
    formatBonasCompressed = 66,
    formatPhotoshopAco = 67,
    formatPhotoshopAcb = 68,
    formatTsudakomaDp5 = 69,
    formatActWjl = 70
} FormatName;

/* A FormatName, or one of the other questions and answers of returnLoaderFunctions. */
typedef int FormatId;
enum {
    formatDetect = 0,       /* asks for detection */
    formatCount = 70,       /* the highest format id */
    formatInstalled = 71,   /* an explicit id was installed, or the id is above 70 */
    formatNotAnImage = 254, /* the file is none to be tried */
    formatNameTooShort = -1 /* the name has fewer than 2 characters */
};

/* ---------------------------------------------------------------------------------------------------------------
 * The three entry points of a loader
 */

/* Opens path and reports what it holds.
 *
 *   path             the file's name, at most 4095 characters; its extension counts for some formats. The loaders of
 *                    designs in several numbered files write the name of the first part into it: pass memory that
 *                    may be written to.
 *   kind             out: an ImageKind. In: 1 asks the JPEG loader for a picture of at most 128 palette colours.
 *   width, height    out: pixels a row, number of rows
 *   resX, resY       out: thousandths of a dot per inch, 0 = unknown
 *   mulX, mulY       out: how many device pixels one pixel stands for, 1 unless the file says otherwise
 *   palette          out: 768 bytes, 256 triples of R, G, B; written for kind 1 and by some loaders for kind 0.
 *                    The PNG loader reads it again in loadBand, so keep it in place until endLoad.
 *   description      out: a zero-terminated text in a buffer of at least 4096 bytes
 *   orientationFlag  out: 0 for pictures, 1 for loom files (TIFF: from its orientation tag; weaves: 1 only for those
 *                    with a packed full plane)
 *   firstPart        out: 0 when the file continues a design of several files, else 1
 *   wantPalette      1 asks for everything; 0 lets some loaders skip the palette or the picture; 2 asks the vector
 *                    preview only to identify the file. Other values are not used.
 *
 * Returns a LoadStatus. After anything but 0 nothing is open: call neither loadBand nor endLoad. Outputs are then
 * undefined, those of them that the loader did not reach keep their values. */
typedef int (*TryLoadFn)(const char* path, u32* kind, u32* width, u32* height, u32* resX, u32* resY, u32* mulX,
                         u32* mulY, u8* palette, char* description, u8* orientationFlag, u32* firstPart,
                         int wantPalette);

/* Writes the next rows of the picture, one every bytesPerRow bytes from buf on; bytes of a row behind its pixels keep
 * their values unless the format says otherwise, and a stride below the row size gets the bytes that fit.
 *
 * Best pass the row size of the kind: the JC5 and JC III loaders read bytesPerRow bytes a pick from the file (JC III
 * never less than a whole pick), weaves of a full plane copy as many, and drape projects and vector previews deliver
 * their rows without a gap, from the first one in every call.
 *
 * Ask for the whole picture in one call (rows = height): some formats are stored interlaced or as a program that is
 * expanded at once. BMP files are stored from the bottom up: however many rows are asked for, buf is the first row of
 * the whole picture. So it is for PCX files of 24 bits when bytesPerRow is the row size; with any other bytesPerRow buf
 * is the first row asked for. Palettes number their colours anew in every call and run on over bytesPerRow.
 *
 * Returns a LoadStatus; anything but 0 is a failure, and which it is depends on the format. Most report 7 when the data
 * end early, GIF 3 and PNG 4; what a JPEG file lacks its decoder makes up, and what a BBI file lacks is clear. 2 when a
 * work buffer cannot be allocated, 7 when no picture is open. The rows of a band that fails are not the picture's:
 * where a card file ends early they hold what could be read, as it stands in the file.
 *
 * When more rows are asked for than there are left, GIF, JPEG, TIFF, DIS, TIS, Bonas, DOP, COP, PID, PIW, BBI,
 * palettes, weaves, fabrics, drape projects and vector previews report 0, DAT, CGS, DP5 and WJL 3, PNG and ORG 4, JC
 * III, JC4 and JC5 3 or 7, all others 7. Rows behind the picture's last are left alone, but palettes clear rows x
 * bytesPerRow bytes at the start of a call, and weaves, fabrics, drape projects, vector previews, BBI, TongYuan, ORG
 * and WJL clear them. */
typedef int (*LoadBandFn)(u8* buf, u32 rows, u32 bytesPerRow);

/* Closes the picture and frees all that its loader held; a second call is harmless. Returns 0. */
typedef int (*EndLoadFn)(void);

/* ---------------------------------------------------------------------------------------------------------------
 * Selection and catalogue
 */

/* id 0: decides the format of path by its name and first bytes, installs its loader in the calling thread and returns
 * the FormatId; 254 when the file is none to be tried (a non-image extension, unreadable, shorter than 8 bytes), -1
 * when the name is null or shorter than 2 characters. A format that nothing identifies is taken for a Bonas file, whose
 * loader then refuses it with 6.
 * id 1..70: installs that loader without looking at path and returns 71. Above 70: returns 71, installs nothing. */
TLOAD_API int returnLoaderFunctions(u32 id, const char* path);

/* Makes three entries the calling thread's current loader. */
TLOAD_API void registerLoader(TryLoadFn tryLoad, LoadBandFn loadBand, EndLoadFn endLoad);

/* The entries of the calling thread's current loader; null before any was installed. */
TLOAD_API TryLoadFn getTryLoad(void);
TLOAD_API LoadBandFn getLoadBand(void);
TLOAD_API EndLoadFn getEndLoad(void);

/* The catalogue's texts for a format id, "" outside 1..70: the full name, the name for use beside an icon, the icon's
 * name. They are constants. */
TLOAD_API const char* returnLoaderString(int id);
TLOAD_API const char* returnLoaderStringNoLogo(int id);
TLOAD_API const char* returnLoaderStringJustLogo(int id);

/* The endings that the names of this format's files have, in lower case without a dot, separated by blanks; "" when
 * only the contents tell, and outside 1..70. Formats may share one. */
TLOAD_API const char* returnLoaderExtensions(int id);
/* 1 when files of this format are read, 0 when they are recognised and refused, and outside 1..70. */
TLOAD_API int returnLoaderReads(int id);
/* 1 when pictures of this format can be turned into a dobby program, else 0. */
TLOAD_API int validForDobbyExtraction(int id);
/* 1 exactly for the drape project, else 0. */
TLOAD_API int isDrapeProject(int id);

/* The version of the library, "1.0.0". */
TLOAD_API const char* llibVersion(void);
/* What a LoadStatus means, in a few words without a full stop; llibGetReason() tells more about a file. */
TLOAD_API const char* llibStatusText(i32 status);
/* The bytes of a row of so many pixels: (width + 7) / 8 for kindBilevel, width for kindIndexed, 3 and 4 x width for
 * kindRGB and kindRGBA; 0 for other kinds and when the result passes 32 bits. */
TLOAD_API u32 llibRowBytes(u32 kind, u32 width);

/* One function a format; each makes that format's loader the calling thread's current one. */
TLOAD_API void registerLoadGIF(void);
TLOAD_API void registerLoadPNG(void);
TLOAD_API void registerLoadPCX(void);
TLOAD_API void registerLoadJPEG(void);
TLOAD_API void registerLoadTIFF(void);
TLOAD_API void registerLoadSophisC(void);
TLOAD_API void registerLoadSophisI(void);
TLOAD_API void registerLoadBonas(void);
TLOAD_API void registerLoadSchleicher(void);
TLOAD_API void registerLoadWeave(void);
TLOAD_API void registerLoadPBM(void);
TLOAD_API void registerLoadStaubli(void);
TLOAD_API void registerLoadStaubliJC3(void);
TLOAD_API void registerLoadStaubliJC5(void);
TLOAD_API void registerLoadStaubliJC4network(void);
TLOAD_API void registerLoadStaubliJC4email(void);
TLOAD_API void registerLoadTis(void);
TLOAD_API void registerLoadGrosse(void);
TLOAD_API void registerLoadEAT(void);
TLOAD_API void registerLoad1858III(void);
TLOAD_API void registerLoadWIF(void);
TLOAD_API void registerLoadAVLJ1P(void);
TLOAD_API void registerLoadBMP(void);
TLOAD_API void registerLoadPUN(void);
TLOAD_API void registerLoadQTE(void);
TLOAD_API void registerLoadVaritexPAT(void);
TLOAD_API void registerLoadIAMPAT(void);
TLOAD_API void registerLoadIAMBBI(void);
TLOAD_API void registerLoadTakemuraDAT(void);
TLOAD_API void registerLoadSometDOP(void);
TLOAD_API void registerLoadSometCOP(void);
TLOAD_API void registerLoadSophisW(void);
TLOAD_API void registerLoadVamatexPID(void);
TLOAD_API void registerLoadVamatexPIW(void);
TLOAD_API void registerLoadQTEMOT(void);
TLOAD_API void registerLoadTongYuanDY(void);
TLOAD_API void registerLoadPignoneARM(void);
TLOAD_API void registerLoadUWF(void);
TLOAD_API void registerLoadDrape(void);
TLOAD_API void registerLoadFabric(void);
TLOAD_API void registerLoadUPT(void);
TLOAD_API void registerLoadStaubliZC5(void);
TLOAD_API void registerLoadQTZ(void);
TLOAD_API void registerLoadDoStyle(void);
TLOAD_API void registerLoadSMIT(void);
TLOAD_API void registerLoadAPF(void);
TLOAD_API void registerLoadColorado(void);
TLOAD_API void registerLoadNedgraphicsPAT(void);
TLOAD_API void registerLoadDoWeaveDES(void);
TLOAD_API void registerLoadTakemuraCGS(void);
TLOAD_API void registerLoadNissan(void);
TLOAD_API void registerLoadSometARM(void);
TLOAD_API void registerLoadMotongPAT(void);
TLOAD_API void registerLoadMotongSTI(void);
TLOAD_API void registerLoadPanter(void);
TLOAD_API void registerLoadDoTech(void);
TLOAD_API void registerLoadMus(void);
TLOAD_API void registerLoadNedgraphicsDES(void);
TLOAD_API void registerLoadVectorPreview(void);
TLOAD_API void registerLoadStaubliJC4loom(void);
TLOAD_API void registerLoadWBF(void);
TLOAD_API void registerLoadWB(void);
TLOAD_API void registerLoadPAL(void);
TLOAD_API void registerLoadDIS(void);
TLOAD_API void registerLoadORG(void);
TLOAD_API void registerLoadBonasCompressed(void);
TLOAD_API void registerLoadPhotoshopACO(void);
TLOAD_API void registerLoadPhotoshopACB(void);
TLOAD_API void registerLoadTsudakomaDP5(void);
TLOAD_API void registerLoadActWJL(void);

/* ---------------------------------------------------------------------------------------------------------------
 * Settings of the calling thread
 */

/* The setters keep a copy of the text for the life of the state, null unsets. No text is checked and none has a
 * default. A text that a getter returned stays readable after the setting was changed; null = never set.
 * The temporary directory takes no trailing slash; a command is what a shell would run, its arguments are appended.
 * A vector preview removes the file that has its name there, FILE.pdf.png, before the command runs. What a QTZ archive
 * unpacks there is refused with 6 when it is a link or another user's, or when a folder has its name. */
TLOAD_API void llibSetTmpDir(const char* text);
TLOAD_API const char* llibGetTmpDir(void);
TLOAD_API void llibSetGzipCommand(const char* text);
TLOAD_API const char* llibGetGzipCommand(void);
TLOAD_API void llibSetUnzipCommand(const char* text);
TLOAD_API const char* llibGetUnzipCommand(void);
TLOAD_API void llibSetMsExpandCommand(const char* text);
TLOAD_API const char* llibGetMsExpandCommand(void);
TLOAD_API void llibSetVectorPreviewCommand(const char* text);
TLOAD_API const char* llibGetVectorPreviewCommand(void);

/* Whether the rows of Bonas files are padded; 1 unless set. */
TLOAD_API void llibSetBonasLinePadding(u32 padding);
/* Which hook module to assume where the width of a Staubli JC4 file allows several: 0, the default, detects it from the
 * picks, 1 means 1344 hooks, 2 means 1536, 3 and above 3072. */
TLOAD_API void setDefaultMappingJC4(u32 selector);
/* Nonzero makes parseOneLineTagXML report on standard output what it does not find; 0 unless set. */
TLOAD_API void setVerboseXML(u32 on);

/* Make the loaders of weave and fabric files ready, which refuse every file with 6 before. Run once a thread by the
 * first returnLoaderFunctions; calling them again does no harm. */
TLOAD_API void initLoadWeave(void);
TLOAD_API void initLoadFabric(void);

/* ---------------------------------------------------------------------------------------------------------------
 * Reasons, remarks and messages. Texts are in ASCII, in memory of the state in use, and last until its next tryLoad or
 * loadBand: nothing is allocated for them.
 */

/* Why the last tryLoad or loadBand did not return 0: a phrase without the file's name and without a full stop, such as
 * "interlaced"; at most 255 characters. "" after a success and before any call. */
TLOAD_API const char* llibGetReason(void);

/* What a loader left out or made up while it returned 0, since the last tryLoad; none after one that failed. Some is
 * known after tryLoad, some, as picks that the file lacks, when the rows have been delivered. Remarks stay over
 * loadBand and endLoad until the next tryLoad. */
TLOAD_API i32 llibGetRemarkCount(void);
/* A remark, counted from 0, as a phrase of at most 191 characters; "" for others. *grave, which may be null, becomes 1
 * when the picture is not what the file means, else 0. At most 16 are kept, the grave ones first of all. */
TLOAD_API const char* llibGetRemark(i32 index, i32* grave);

/* Makes the state in use hand over what its loaders and decoders would print, a line a call without its end. message is
 * valid during the call; the handler must return and must not call loaders. Null, the initial value, prints: to
 * standard output or standard error. */
TLOAD_API void llibSetMessageHandler(void (*handler)(void* context, const char* message), void* context);

/* ---------------------------------------------------------------------------------------------------------------
 * States. All that the library remembers between two calls stands in one block: current loader, settings, the open
 * picture, results in library buffers. Every thread has one of its own; a host that reads several files at once on one
 * thread, or moves an open file to another thread, makes further ones. A state is used by one thread at a time.
 */
typedef struct LoaderThreadState LoaderState;

/* A state with the initial settings and without a loader; null when memory does not suffice. The caller frees it. */
TLOAD_API LoaderState* llibNewState(void);
/* Makes the calling thread work with a state from now on; null: with its own again. */
TLOAD_API void llibUseState(LoaderState* state);
/* Ends what is open in a state and frees it. A thread that uses it goes on with its own; no other thread may be using
 * it. Null does nothing. */
TLOAD_API void llibFreeState(LoaderState* state);

/* ---------------------------------------------------------------------------------------------------------------
 * Shared helpers. Results that are texts in library memory belong to the thread and last until its next call of the
 * same function.
 */

/* The first min(size, 256) bytes of a file, from a cache of one file that is keyed by path and size: bytes behind the
 * file's size are left from earlier files, so look at loadImgLastFilesize first. Null when path is null or the file
 * cannot be read; the cache is then unchanged. A cached file that has vanished is still answered, and so is the empty
 * path while no path is remembered. */
TLOAD_API const u8* loadImgCheckHeader(const char* path);
/* The size in bytes of the file that loadImgCheckHeader last read successfully, 0 before any. */
TLOAD_API i64 loadImgLastFilesize(void);

/* A to Z become a to z; everything else is returned as given. The locale does not count. */
TLOAD_API int tolowerAZ(int c);
TLOAD_API void stringToLower(char* text);
/* The text behind the first '=' of text. Without one the result points behind the terminating zero: call it only on
 * lines that hold an '='. */
TLOAD_API char* removeHead(char* text);
/* Cuts the last character off and returns text. */
TLOAD_API char* removeLast(char* text);
/* Reads a line that ends in CR, LF or CR LF into buf of size bytes, without its end. One line end before the line is
 * skipped: what the previous call left of a CR LF, or an empty line. Of a line of size characters or more the first
 * size - 1 are kept and the next two are lost. Null, with an empty buf, at the end of the file and when a second line
 * end follows the skipped one; null and buf untouched for a size below 1. */
TLOAD_API char* fgetsDosMac(char* buf, int size, FILE* file);
/* Reverses the bits of every byte, and complements them when negate is nonzero. */
TLOAD_API void reverseNegateBytes(u8* data, int length, int negate);
/* The running CRC-16 (polynomial 0x1021, reflected) of Sulzer UWF files. */
TLOAD_API u32 crcUWF(u32 crc, const void* data, int length);
/* The text between <tag> and </tag>, or "" for <tag/>, cut out of text in place; null when there is none. */
TLOAD_API char* parseOneLineTagXML(char* text, const char* tag);
/* Reads a zlib block whose compressed size stands in sizeText as a decimal number, and inflates it into dest of
 * destCapacity bytes. Returns the inflated length (1 when it is 0), or 0 on any failure. */
TLOAD_API int readCompressedData(const char* sizeText, u8* dest, int destCapacity, FILE* file);
/* Skips such a block; 0 when the size cannot be parsed, else 1, also when the stream cannot be moved so far and stays
 * where it is. */
TLOAD_API int skipCompressedData(const char* sizeText, FILE* file);
/* Two digits, the number of directories to climb from path, and the way down from there to other; at most 511
 * characters. "" when either is null. */
TLOAD_API const char* getRelativePath(const char* path, const char* other);
/* The part of path before its last separator, "" when it has none but possibly a leading one; at most 4096
 * characters. */
TLOAD_API char* dirName(const char* path);
/* The part of path behind its last separator, inside path. */
TLOAD_API char* baseName(const char* path);

/* ---------------------------------------------------------------------------------------------------------------
 * Hook orders of Staubli modules
 */

/* Fills map[0 .. module - 1] with the physical hook order of one Staubli module of 1344, 1536 or 3072 hooks; any other
 * module counts as 3072, and the map needs room for as many entries. */
TLOAD_API void makeStaubliMapping(u32* map, i32 module);
/* Extends the order of one module to count modules, side by side (separateModules nonzero) or interleaved, and inverts
 * it when invert is nonzero. The result replaces map[0 .. module x count - 1]. */
TLOAD_API void invertStaubliMapping(u32* map, i32 module, i32 count, i32 invert, i32 separateModules);

/* ---------------------------------------------------------------------------------------------------------------
 * Repeating patterns: functions on the caller's buffers, without state but for the C library's random numbers.
 */

/* Draws a picture that repeats without end at its physical size: every display pixel is the mean of 32 jittered samples
 * of the picture area under it. dst takes rows rows of width pixels, dstStride bytes apart, from display column x0 and
 * display row firstRow on. bytesPerPixel 4: the 32-bit word 0x00RRGGBB; 3: R, G, B; 2: the 16-bit word of 5, 6 and 5
 * bits; 1: no colours and one sample a pixel, the picture's own byte or, for a bilevel picture, 255 for a set bit and
 * 254 for a clear one. Others draw nothing.
 * src is the picture's first row, srcStride the bytes from one row to the next, srcKind 0 (bilevel, a set bit is
 * black), 1 (indices into the 256 R, G, B triples of palette) or 2 (RGB). The picture stands upright: its last row's
 * lower edge, and one of its left edges, lie at the display's column 0 and below display row y0, and rows above y0
 * climb up in it. Only there, up to 262144 picture pixels upwards and to the right, is it repeated without gaps: the
 * positions to the left, below and beyond come round in numbers of 2^32 units, 8192 a picture pixel.
 * Resolutions are in one unit of the caller's choice, such as dots per inch x 1000; zoom magnifies. A size, resolution
 * or zoom that is not positive draws nothing.
 * The random numbers are drand48's: 4096 of them and one for every row; srand48 makes a drawing repeatable. Threads
 * may draw at once and then share these numbers. */
TLOAD_API void renderRealImg(u8* dst, i32 dstStride, i32 bytesPerPixel, i32 x0, i32 firstRow, i32 width, i32 rows,
                             i32 y0, i32 screenResX, i32 screenResY, const u8* src, i32 srcStride, i32 srcWidth,
                             i32 srcHeight, i32 srcKind, const u8* palette, i32 srcResX, i32 srcResY, float zoom);

/* Expands in place rows of rowBytes bytes that are stored only once. repeatTable has an entry for each of the rows: 0
 * is the next stored row, k the same as row k - 1, counted from 0. With an entry outside 0 to rows a line is printed on
 * standard output and nothing is changed. */
TLOAD_API void copyTableEqualY(u8* data, i32 rowBytes, i32 rows, const i32* repeatTable);
/* By how many percent the step from the last column to the first (seamX) and from the last row to the first (seamY)
 * exceeds the average step between the columns and rows beside that edge; 0 = no seam. kind is one of kindBilevel to
 * kindRGBA, stride the bytes from row to row. A direction of less than 21 pixels and a picture of null have no seam. */
TLOAD_API void getRepeatBorder(const u8* pixels, i32 kind, i32 width, i32 height, i32 stride, u16* seamX, u16* seamY);
/* Places count points on an area that repeats, each the best of 60 at random (rand(), x before y) by its distance from
 * those before it. Returns count pairs of x and y; free() them. Null when memory runs out or a size is not positive. */
TLOAD_API u16* selfAvoidTable(i32 count, i32 width, i32 height);

/* ---------------------------------------------------------------------------------------------------------------
 * Few colours out of many: palettes, quantization and dithering, on the caller's buffers alone. Pixels are R, G, B (or
 * R, G, B, A) bytes, strides are bytes and may be negative, palettes are packed R, G, B triples. Buffers must not
 * overlap.
 *
 * The nearest colour is the one at the least squared distance in R, G and B, of several the first. It is looked up once
 * for each cell of colours that agree in the upper 6 bits of all channels, for the first pixel in the cell; the others
 * follow. Noise comes from rand(): srand() makes it repeatable where no other thread draws numbers. Mapping and
 * dithering draw one number a row without noise too. Numbers outside their range count as the nearer end of it.
 */

/* Counts the distinct colours of a picture and writes them to paletteOut (768 bytes) in the order of their first
 * appearance. Returns 1 to 256; 0 when there are more, and paletteOut is untouched. The first pixel's colour always
 * counts: a picture with a side below 1 has it alone, so rgb holds a pixel in any case. */
TLOAD_API i64 checkTrueColorPalette(const u8* rgb, i32 stride, i32 width, i32 height, u8* paletteOut);
/* The same for pixels with alpha. Transparent ones (alpha 0) are skipped, but for the colour of the first pixel; also 0
 * when a pixel is neither transparent nor opaque (255), since no plain palette can hold it. */
TLOAD_API i64 checkRGBAPalette(const u8* rgba, i32 stride, i32 width, i32 height, u8* paletteOut);

/* Reduces a picture to few colours. A true-colour picture that has no more of them than wanted keeps them exactly, in
 * the order of their first appearance, when fixedCount is 0 and indexOut is given, and that works without memory, too;
 * else the palette is found by median cut.
 *
 *   rgb          the picture; null: indexOut holds an indexed one in the colours of palette
 *   indexOut     out: an index for each pixel. From an indexed picture all height x indexStride bytes are replaced, and
 *                old colours come back in place of the new ones that they are mapped to. Null: the palette alone.
 *   palette      768 bytes. In: the colours of an indexed picture, the fixed colours. Out: the new colours; entries
 *                behind them keep their values.
 *   fixedCount   how many of the first palette entries weigh in, each as much as half of the picture; 0 to 256
 *   colourCount  in: colours wanted, 1 to 256; out: colours found
 *
 * Returns 0. Nothing changes when rgb and indexOut are both null, when a side or *colourCount is below 1, and when
 * memory does not suffice. */
TLOAD_API u64 colorQuantize(const u8* rgb, i32 rgbStride, u8* indexOut, i32 indexStride, i32 width, i32 height,
                            u8* palette, i32 fixedCount, i32* colourCount);
/* Gives every pixel the index of the nearest of paletteCount (0 to 256) colours, after adding to each channel a random
 * number from -noise to noise (0 to 100); without colours all indices are 0. Returns 1; 0, with indexOut untouched,
 * when rgb, indexOut or palette is null or memory does not suffice. */
TLOAD_API u64 trueColorRemapToCmap(const u8* rgb, i32 rgbStride, u8* indexOut, i32 indexStride, i32 width, i32 height,
                                   const u8* palette, i32 paletteCount, i32 noise);
/* Scales a picture to dstWidth x dstHeight, taking the nearest pixel, and maps it to paletteCount (at most 256) colours
 * with Floyd-Steinberg error diffusion: strength 0 (none) to 16 (the whole error), noise 0 to 100 on the error before
 * it is spread. Without colours all indices are 0. dst is untouched when a side is below 1, src or dst is null or
 * memory does not suffice. */
TLOAD_API void colorQuantizeDitherFS(const u8* src, i32 srcStride, u8* dst, i32 dstStride, i32 srcWidth, i32 srcHeight,
                                     i32 dstWidth, i32 dstHeight, const u8* palette, i32 paletteCount, i32 strength,
                                     i32 noise);
/* The same for palettes of up to 65536 colours; dstStride counts indices, not bytes. */
TLOAD_API void colorQuantizeDitherFS16(const u8* src, i32 srcStride, u16* dst, i32 dstStride, i32 srcWidth,
                                       i32 srcHeight, i32 dstWidth, i32 dstHeight, const u8* palette, i32 paletteCount,
                                       i32 strength, i32 noise);

/* ---------------------------------------------------------------------------------------------------------------
 * Weaves
 */

/* Reads a weave from an open stream that stands behind the weave's first line, up to and with its "#END" line.
 *
 *   line             a buffer of at least 100000 bytes that holds the line read last, which is "#BINDING\n": with any
 *                    other nothing is read, and the result is 1. Overwritten.
 *   mode             out: 0 a draft (shaft plan and threading), 1 a full plane; untouched when the weave has no plane
 *   width, height    in and out: ends and picks; they keep their values where the weave tells none
 *   orientationFlag  out: 1 when the weave has a packed full plane (a BETMAP record), else 0
 *   threading        in and out: null or a block from malloc, which a record with sizes frees and replaces by one of at
 *                    least width entries, the shaft of each end from 0. Nothing vouches for shafts that the plan has.
 *   plane            in and out: null or a block from malloc, which a record with a plane frees and replaces. Draft:
 *                    shafts x height / 8 + 1 bytes, shaft s in pick y is bit s x height + y, lowest bit of a byte
 *                    first. Full plane: height rows of (width + 7) / 8 bytes, the leftmost end in the highest bit. Its
 *                    size follows the sizes that were told before it, those behind it do not change it.
 *
 * A threading that the caller brings has an entry for each of width ends, a plane height rows of (width + 7) / 8 bytes.
 * Records write no further, and a repeat table that no full plane stands before takes a plane for height rows of one
 * byte. threading and plane are the caller's to free afterwards, whatever the result. Returns 1 on success, 0 on
 * failure, 2 when a plane that is not packed finds no memory. Needs no initLoadWeave. */
TLOAD_API int readTevrinWeave(FILE* file, char* line, i32* mode, i32* width, i32* height, u8* orientationFlag,
                              i32** threading, u8** plane);

/* ---------------------------------------------------------------------------------------------------------------
 * Colour spaces, contrast and transparency: stateless functions on the caller's buffers. Strides are bytes unless a
 * comment says otherwise, palettes are packed R, G, B triples.
 */

/* RGB 0..255; H in degrees 0..359, S and L in thousandths, 0..1000. A pure red has the hue 359. */
TLOAD_API void RGBtoHSL(const i32 rgb[3], u32 hsl[3]);
/* The other way; hues outside 0..359 are black. hsl and rgb may be the same three numbers. */
TLOAD_API void HSLtoRGB(const i32 hsl[3], u32 rgb[3]);
/* L (0..10000), a and b of CIE L*a*b* in hundredths, under daylight, to linear RGB without a gamma curve. */
TLOAD_API void Lab2RGB100(i32 L, i32 a, i32 b, u8* red, u8* green, u8* blue);

/* Stretches each of R, G and B from its darkest and brightest level to 0..255, in place. kind 1 looks at width x height
 * bytes that follow each other, whatever stride is, takes the levels of the colours that occur and changes all 256
 * entries of palette (768 bytes), of which those outside the levels wrap around. kind 7 has 4 bytes a pixel, of which
 * alpha is left alone, any other kind 3; palette is then not used and may be null. Nothing changes when a channel has
 * only one level or the picture no pixel. */
TLOAD_API void contrastStretch(u8* pixels, i32 stride, i32 kind, i32 width, i32 height, u8* palette);
/* Flattens RGBA rows to RGB over white (checkerboard 0) or grey squares of 8 x 8 pixels, in place. buffer comes from
 * malloc and is shrunk to the width x 3 x height bytes of the packed result: the returned address, which is the
 * caller's to free, replaces it, and *stride becomes 3 x width. A *stride below 4 x width leaves everything as it is, a
 * width or height of 0 the buffer. */
TLOAD_API u8* collapseRGBA(u8* buffer, i32 width, i32 height, i32* stride, i32 checkerboard);

#ifdef __cplusplus
}
#endif

#endif
