/* loomfile: one way in to the files of textile design and weaving.
 *
 *     LoomfileFailure failure = loomfileFailure();
 *     Loomfile* file = loomfileOpen("rose.jc5", NULL, &failure);
 *     if (file == NULL)
 *         fprintf(stderr, "rose.jc5: %s.\n", failure.sentence);
 *     LoomfileInfo info = loomfileInfo();
 *     loomfileGetInfo(file, &info);
 *     unsigned char* rows = malloc((size_t)info.height * info.rowBytes);
 *     loomfileReadAll(file, rows, info.rowBytes, &failure);
 *     loomfileClose(file);
 *
 * Opening finds the format by the name and by what the file holds, the other files of a design, and the programs that
 * some formats are unpacked or drawn with. Kinds, statuses and FormatName are those of tload.h, on which this library
 * stands.
 *
 * Threads: any number of files may be open at once, on any threads. One file is used by one thread at a time. Every
 * function that takes a file leaves the calling thread with libTload's state of its own (llibUseState(NULL)).
 *
 * Ownership: texts that a function returns belong to the file and last until it is closed, unless a comment says
 * otherwise; buffers and structures are the caller's. Texts of the library are ASCII, names of files and texts from
 * files are as they were found. The library prints nothing, changes no signal handler, no environment and no working
 * directory, and no exception leaves it.
 *
 * Structures begin with their size, which the functions of the same name set: a later library leaves alone what an
 * older program does not have. Unless a comment says otherwise, pointers must not be null.
 */
#ifndef LOOMFILE_H
#define LOOMFILE_H

#include <string.h>

#include "tload.h"

#if defined(__GNUC__)
#define LOOMFILE_API __attribute__((visibility("default")))
#else
#define LOOMFILE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The version of this header; loomfileVersion() tells the library's. */
#define LOOMFILE_VERSION "1.0.0"

/* What can fail besides reading: statuses behind those of LoadStatus. */
enum {
    loomfileNotAnImage = 10,   /* nothing in the file tells of a picture or weave */
    loomfileNameTooShort = 11, /* the name is empty */
    loomfileCannotWrite = 12   /* there is no folder or no room for temporary files */
};

/* An open file. */
typedef struct Loomfile Loomfile;

/* How to open a file. Zero and null are the defaults. */
typedef struct LoomfileOptions {
    u32 size;
    i32 format; /* the FormatName to open it as; 0 = found out */
    /* 1: what libTload's own loaders make of the file: no second reading of common pictures by the graphics command, no
     * drafts in their colours */
    u32 libtloadOnly;
    u32 bonasUnpadded; /* 1: the picks of Bonas files are not padded */
    u32 jc4Module;     /* hooks of the module where a JC4 file allows several: 1 = 1344, 2 = 1536, 3 = 3072 */
    u64 mostPixels;    /* refuse pictures of more pixels; 0 = 4294967296 */
    u64 mostBytes;     /* refuse what would take more bytes of the library's own memory; 0 = 8589934592 */
    /* The folder in which one for temporary files is made when a file needs it; null = $TMPDIR, else /tmp. */
    const char* tmpDir;
    /* Commands as a shell would run them, arguments are appended; null = found in PATH, "" = none. */
    const char* gzipCommand;
    const char* unzipCommand;
    const char* msExpandCommand;
    const char* vectorPreviewCommand;
    const char* graphicsCommand; /* GraphicsMagick's "gm convert", for second readings */
} LoomfileOptions;

/* What an open file holds. */
typedef struct LoomfileInfo {
    u32 size;
    i32 format;             /* a FormatName; 0 when libTload does not know the format */
    const char* formatName; /* in words, "BMP" */
    i32 refusedBy;          /* the FormatName that its name or first bytes told and whose loader refused it, else 0 */
    u32 kind;               /* an ImageKind */
    u32 width;              /* pixels a row, from 1 on */
    u32 height;             /* rows, from 1 on */
    u32 rowBytes;           /* bytes of a row */
    u32 resX, resY;         /* thousandths of a dot per inch, 0 = unknown */
    u32 mulX, mulY;         /* how many device pixels one pixel stands for */
    u32 orientation;        /* 0 for pictures, 1 for loom files */
    u32 isFirstPart;        /* 0 when the file continues a design of several files */
    u32 isPalette;          /* 1 when the file is a palette: its picture has a pixel for each colour */
    u32 isDoubtful;         /* 1 when only the name speaks for the format and the file does not fit it */
    u32 isSecondReading;    /* 1 when the graphics command has read it */
    u32 colourCount;        /* colours of the palette that count, 0 for kindRGB and kindRGBA */
    u8 palette[768];        /* R, G, B of 256 colours; those behind colourCount are black. kindBilevel: white, black */
    u64 fileBytes;          /* of the file */
    const char* description;
    const char* firstPartFile; /* the file that a design of several begins with, when that is another one, else "" */
    u32 isDraft;               /* 1 when the file tells a draft (WIF, DTX), whose drawdown is the picture */
} LoomfileInfo;

/* Why something was not done. */
typedef struct LoomfileFailure {
    u32 size;
    i32 status;         /* a LoadStatus, or one of those above; 0 after a success */
    i32 format;         /* the FormatName the file was taken for; 0 when it is not known */
    i32 signal;         /* the number of the signal that ended a helper program, 0 = none */
    char reason[256];   /* the loader's own words, "interlaced"; "" when it has none */
    char sentence[640]; /* for the user, without the file's name and without a full stop; all of it is printable */
} LoomfileFailure;

/* Structures that are ready to be passed: all zero, but for their size. */
static inline LoomfileOptions loomfileOptions(void)
{
    LoomfileOptions options;
    memset(&options, 0, sizeof options);
    options.size = (u32)sizeof options;
    return options;
}
static inline LoomfileInfo loomfileInfo(void)
{
    LoomfileInfo info;
    memset(&info, 0, sizeof info);
    info.size = (u32)sizeof info;
    return info;
}
static inline LoomfileFailure loomfileFailure(void)
{
    LoomfileFailure failure;
    memset(&failure, 0, sizeof failure);
    failure.size = (u32)sizeof failure;
    return failure;
}

/* Opens a file. options may be null: the defaults. Null after a failure, which *failure then tells; failure may be
 * null. The caller closes the file.
 *
 * Without options->format these are tried, until one takes the file without doubt: the format that libTload detects,
 * the others whose files have such names, those that the contents speak for, whatever the name is. A format that has
 * nothing in its files to know it by is taken by its contents only when the size it announces is the file's, and when
 * it is taken by the name although the size differs, the file is doubtful.
 *
 * Common pictures (GIF, BMP, TIFF, PCX, PNM, WebP and more) that libTload refuses, or would not show as they are meant,
 * are read by GraphicsMagick where it is installed; a remark says so.
 *
 * Drafts (WIF and DTX, whatever they are called) are shown by their drawdown: bilevel, where black stands for the warp,
 * when the file tells no other colours, else in the colour of the yarn that lies on top. */
LOOMFILE_API Loomfile* loomfileOpen(const char* path, const LoomfileOptions* options, LoomfileFailure* failure);

/* The same for a file of which the caller has the bytes: they are written to a temporary file. name, of which what
 * follows the last '/' counts, is what the file would be called; its extension counts for some formats. The bytes are
 * not needed any more when the function returns; they may be null when size is 0. */
LOOMFILE_API Loomfile* loomfileOpenMemory(const void* bytes, u64 size, const char* name, const LoomfileOptions* options,
                                          LoomfileFailure* failure);

/* Closes the file and removes its temporary files. Null does nothing. */
LOOMFILE_API void loomfileClose(Loomfile* file);

/* Fills in as much of *info as info->size tells. */
LOOMFILE_API void loomfileGetInfo(const Loomfile* file, LoomfileInfo* info);

/* What is left out or made up of the file, phrases of a line. Some are known only when rows have been read, so that
 * the count may grow with every read. */
LOOMFILE_API u32 loomfileRemarkCount(const Loomfile* file);
/* A remark, counted from 0; "" for others. The text lasts until the next read. *isGrave, which may be null, becomes 1
 * when the picture is not what the file means, else 0. */
LOOMFILE_API const char* loomfileRemark(const Loomfile* file, u32 index, u32* isGrave);

/* How many formats of libTload take the file, its own first; 0 when none does. Others are tried
 * when the function is first called. */
LOOMFILE_API u32 loomfileCandidateCount(Loomfile* file);
/* The FormatName of a candidate, counted from 0; 0 for others. */
LOOMFILE_API i32 loomfileCandidate(Loomfile* file, u32 index);

/* The name that a palette file (GIMP, Photoshop) gives to a colour, counted from 0, in UTF-8; "" when it has none. */
LOOMFILE_API const char* loomfileColourName(Loomfile* file, u32 index);

/* Writes the next count rows, one every stride bytes from rows on. The first call begins with the picture's first row.
 * stride is at least the row size; bytes between the rows keep their values, bits behind the last pixel of a row are
 * clear. Returns a status; after anything but 0 the rows are undefined, and which row comes next is, too. Asking for
 * more rows than are left is refused with 7. failure may be null. */
LOOMFILE_API i32 loomfileReadRows(Loomfile* file, u8* rows, u32 count, u32 stride, LoomfileFailure* failure);
/* The same for the whole picture, whatever was read before. This is the fastest way to have it, most of all with a
 * stride of the row size. The next row is then the first again. */
LOOMFILE_API i32 loomfileReadAll(Loomfile* file, u8* rows, u32 stride, LoomfileFailure* failure);

/* The next row to be read is the first again. */
LOOMFILE_API void loomfileRewind(Loomfile* file);

/* A draft: threading, tie-up, treadling or lift plan, and yarns. */
typedef struct LoomfileDraft LoomfileDraft;

/* What a draft holds. */
typedef struct LoomfileDraftInfo {
    u32 size;
    u32 ends, picks;      /* from 1 on */
    u32 shafts, treadles; /* treadles: 0 when there is a lift plan only */
    u32 hasLiftPlan;      /* 1: the shafts of each pick are told, 0: the treadles */
    u32 isSinking;        /* 1: the shafts that are told go down */
    u32 hasColours;       /* 1: each end and pick has a colour */
    u32 isExtracted;      /* 1: found out from a picture */
    double endsPerCm;     /* 0 = unknown, as all numbers of yarns */
    double picksPerCm;
    const char* title; /* UTF-8; "" = unknown, as for those below */
    const char* author;
    const char* notes;   /* of several lines */
    const char* program; /* that wrote the file */
} LoomfileDraftInfo;

static inline LoomfileDraftInfo loomfileDraftInfo(void)
{
    LoomfileDraftInfo info;
    memset(&info, 0, sizeof info);
    info.size = (u32)sizeof info;
    return info;
}

/* The four lists of a draft. */
enum {
    loomfileThreading = 1, /* shafts of an end */
    loomfileTieUp = 2,     /* shafts of a treadle */
    loomfileTreadling = 3, /* treadles of a pick */
    loomfileLiftPlan = 4   /* shafts of a pick */
};

/* The draft of an open file: of WIF and DTX files as they tell it, of a bilevel picture of up to 256 different columns
 * as it is found out from the picture, which is read for it. Null after a failure. The caller closes the draft, which
 * does not need the file. */
LOOMFILE_API LoomfileDraft* loomfileOpenDraft(Loomfile* file, LoomfileFailure* failure);
/* Null does nothing. */
LOOMFILE_API void loomfileCloseDraft(LoomfileDraft* draft);
/* Fills in as much of *info as info->size tells. Texts belong to the draft. */
LOOMFILE_API void loomfileGetDraftInfo(const LoomfileDraft* draft, LoomfileDraftInfo* info);
/* The numbers of a thread or treadle, counted from 0, in one of the lists above: shafts or treadles, from 1 on,
 * ascending. Returns how many they are, 0 also for what does not exist; *numbers belongs to the draft. */
LOOMFILE_API u32 loomfileDraftNumbers(const LoomfileDraft* draft, u32 list, u32 index, const u16** numbers);
/* R, G, B of each end and each pick, 3 * ends and 3 * picks bytes. All zero when the draft has no colours. */
LOOMFILE_API void loomfileDraftColours(const LoomfileDraft* draft, u8* warp, u8* weft);
/* The lengths of a draft's yarns. */
enum {
    loomfileWarpSpacing = 1, /* from the middle of an end to the next one's */
    loomfileWeftSpacing = 2,
    loomfileWarpThickness = 3,
    loomfileWeftThickness = 4
};
/* Centimetres, one for each end or pick. Returns how many they are, 0 when they are unknown; *lengths belongs to the
 * draft. */
LOOMFILE_API u32 loomfileDraftLengths(const LoomfileDraft* draft, u32 which, const double** lengths);
/* Rows of the drawdown from a pick on, one every stride bytes, an end a bit from the highest on: 1 = the warp is up.
 * Bits behind the last end are clear. Returns 0, or 7 when there are not so many picks or the stride is too small. */
LOOMFILE_API i32 loomfileDraftRows(const LoomfileDraft* draft, u32 firstPick, u32 count, u8* rows, u32 stride);
/* The draft as a WIF 1.1 file, of *size bytes with a zero behind them, which last until the next call for this draft.
 * The shed that is written always rises: shafts of a sinking one are told as the others that go up. A draft with picks
 * of several treadles, or of none, gets a lift plan as well, and ends without a shaft may go on one more, which is
 * never up: there are readers that would make up their treadles and shafts. Null after a failure, as for a draft of
 * more than 256 shafts. */
LOOMFILE_API const char* loomfileDraftWif(LoomfileDraft* draft, u64* size, LoomfileFailure* failure);

/* What can be counted in a weave, which repeats in both directions. */
typedef struct LoomfileFloat {
    u32 length;    /* crossings that the yarn passes on one side; 0 = there is no such float */
    u32 end, pick; /* where it begins, from 1 on; it may run on into the next repeat */
    u32 isEndless; /* 1: it is as long as the repeat, the yarn never changes sides */
} LoomfileFloat;
typedef struct LoomfileWeave {
    u32 size;
    u32 ends, picks;
    LoomfileFloat warpOver, warpUnder; /* the longest float of an end over picks and under picks */
    LoomfileFloat weftOver, weftUnder; /* of a pick over and under ends */
    double warpUp;                     /* the share of crossings where the warp is up, 0 to 1 */
    double interlacingsAnEnd;          /* how often an end changes sides in a repeat, the mean of all */
    double interlacingsAPick;
} LoomfileWeave;

static inline LoomfileWeave loomfileWeave(void)
{
    LoomfileWeave weave;
    memset(&weave, 0, sizeof weave);
    weave.size = (u32)sizeof weave;
    return weave;
}

/* Counts what is in a draft or, when draft is null, in a bilevel picture; file is not used with a draft and may then be
 * null. The picture is read once, row by row, and the next row to be read is the first again. Fills in as much of
 * *weave as weave->size tells. Returns a status. */
LOOMFILE_API i32 loomfileGetWeave(Loomfile* file, const LoomfileDraft* draft, LoomfileWeave* weave,
                                  LoomfileFailure* failure);
/* Counts how often each number is used in a list of a draft: the ends of each shaft (threading), the picks of each
 * treadle (treadling), the picks that name each shaft (lift plan), the treadles that name each shaft (tie-up). counts
 * may be null. Returns how many counts there are: shafts or treadles. */
LOOMFILE_API u32 loomfileDraftUses(const LoomfileDraft* draft, u32 list, u32* counts);

/* A cloth: a weave or a picture, repeated without end, that can be looked at from near and far. */
typedef struct LoomfileCloth LoomfileCloth;

/* How a cloth is made. Zero is the default. */
typedef struct LoomfileClothOptions {
    u32 size;
    u32 hasWarp, hasWeft; /* 1: all ends, or all picks, have the colour below */
    u8 warp[4], weft[4];  /* R, G, B and nothing */
    /* How thick yarns are, as a share of the room that an end or a pick has, 0.3 to 1; 0 = as the draft tells, the mean
     * of its threads, else 0.92. */
    double warpThickness, weftThickness;
} LoomfileClothOptions;

/* What is seen of a cloth. */
typedef struct LoomfileClothView {
    u32 size;
    u32 width, height;  /* of the drawing, in pixels, 1 to 65520 */
    double left, top;   /* the drawing's corner in ends and picks; the cloth repeats in all directions */
    double pixelsAnEnd; /* 1/4096 to 256 */
    double pixelsAPick;
} LoomfileClothView;

static inline LoomfileClothOptions loomfileClothOptions(void)
{
    LoomfileClothOptions options;
    memset(&options, 0, sizeof options);
    options.size = (u32)sizeof options;
    return options;
}
static inline LoomfileClothView loomfileClothView(void)
{
    LoomfileClothView view;
    memset(&view, 0, sizeof view);
    view.size = (u32)sizeof view;
    return view;
}

/* Makes a cloth of a draft or, when draft is null, of an open file's picture, which is read for it; file is not used
 * with a draft and may then be null. Null after a failure. The caller closes the cloth, which needs neither file nor
 * draft. options may be null. At most 65520 ends and picks. For looking from afar means are kept beside the weave, 4
 * bytes for each 2 x 2 crossings and a third of that more, or less for very large cloths.
 *
 * Threads have the colours of the draft; without any, and in bilevel pictures, the warp is indigo (38, 52, 104) and the
 * weft cream (243, 231, 206). Pictures of more colours do not tell their weave: each pixel is a crossing whose upper
 * yarn has the pixel's colour, in plain weave, and the colours of the options are not used. */
LOOMFILE_API LoomfileCloth* loomfileOpenCloth(Loomfile* file, const LoomfileDraft* draft,
                                              const LoomfileClothOptions* options, LoomfileFailure* failure);
/* Null does nothing. */
LOOMFILE_API void loomfileCloseCloth(LoomfileCloth* cloth);
/* Draws count rows of a view from firstRow on, one every stride bytes. bytesPerPixel is 3 (R, G, B) or 4 (R, G, B,
 * 255). Below two pixels a thread yarns give way to their mean colour, in linear light. Any threads may draw the same
 * cloth at once. Returns 0, 2 when there is not enough memory, or 7 for a view that is not as above, rows it does not
 * have and a stride that is too small. */
LOOMFILE_API i32 loomfileDrawCloth(const LoomfileCloth* cloth, const LoomfileClothView* view, u32 firstRow, u32 count,
                                   u8* rows, u32 stride, u32 bytesPerPixel);

/* How to make a thumbnail. Zero is the default. */
typedef struct LoomfileThumbnailOptions {
    u32 size;
    u32 side;                     /* of the square that it fits, 1 to 4096 pixels; 0 = 256 */
    double endsPerCm, picksPerCm; /* of files that do not tell their resolution; 0 = unknown */
} LoomfileThumbnailOptions;

static inline LoomfileThumbnailOptions loomfileThumbnailOptions(void)
{
    LoomfileThumbnailOptions options;
    memset(&options, 0, sizeof options);
    options.size = (u32)sizeof options;
    return options;
}

/* The size of a file's thumbnail. It has the proportions of what the file shows: a pixel of the picture is mulX / resX
 * wide and mulY / resY high, a square when a resolution is unknown. A picture for which there is room is enlarged by a
 * whole number. options may be null. Returns 0, or 7 for options that are not as above. */
LOOMFILE_API i32 loomfileGetThumbnailSize(const Loomfile* file, const LoomfileThumbnailOptions* options, u32* width,
                                          u32* height);
/* Writes a file's thumbnail, one row every stride bytes, R, G, B, A of each pixel. A pixel is the mean of the light of
 * its area, and transparent as far as that is. Lifts, which are what bilevel loom files and drafts without colours
 * show, have the colours of cloth: the warp is indigo (38, 52, 104) and the weft cream (243, 231, 206).
 *
 * The picture is read once, and the next row to be read is the first again. Where rows come in order, no more than a
 * few are held at once. Returns a status; after anything but 0 the rows are undefined. */
LOOMFILE_API i32 loomfileDrawThumbnail(Loomfile* file, const LoomfileThumbnailOptions* options, u8* rows, u32 stride,
                                       LoomfileFailure* failure);

/* What a draft is drawn as. */
enum {
    loomfileDrawingPng = 1,
    loomfileDrawingSvg = 2,
    loomfileDrawingPdf = 3 /* of as many pages as it takes */
};

/* Where the threading of a drawing is. Shaft 1 and treadle 1 are next to the cloth, the first end is on its left, the
 * first pick next to the threading. */
enum { loomfileThreadingAbove = 0, loomfileThreadingBelow = 1 };

/* The paper of a PDF. It is turned where that saves pages or makes larger cells. */
enum { loomfilePageA4 = 0, loomfilePageLetter = 1 };

/* How to draw a draft. Zero is the default. */
typedef struct LoomfileDrawing {
    u32 size;
    u32 layout;        /* loomfileThreadingAbove or loomfileThreadingBelow */
    u32 cell;          /* side of a cell, 1 to 200 pixels of 1/96 inch; 0 = by the size of the draft */
    u32 liftPlan;      /* 1: the shafts that are up for each pick, even when the draft has treadles */
    u32 blackAndWhite; /* 1: the drawdown is black where the warp is up, even when the draft has colours */
    u32 page;          /* loomfilePageA4 or loomfilePageLetter */
} LoomfileDrawing;

static inline LoomfileDrawing loomfileDrawing(void)
{
    LoomfileDrawing drawing;
    memset(&drawing, 0, sizeof drawing);
    drawing.size = (u32)sizeof drawing;
    return drawing;
}

/* Takes the next bytes of a file that is being made. Returns 0, or anything else to have no more of them. */
typedef i32 (*LoomfileWriter)(void* context, const void* bytes, u64 count);

/* Draws a draft: threading, tie-up, treadling or lift plan, drawdown, colours of the threads, and a caption. kind is
 * one of loomfileDrawingPng and the like, drawing may be null: the defaults. Returns a status; after anything but 0
 * what was written is no drawing. The same call always writes the same bytes.
 *
 * A tie-up of rising shafts has rings, one of sinking shafts crosses; a lift plan always shows the shafts that are up.
 * Numbers stand at every fourth thread, heavier lines behind every eighth.
 *
 * This is done by libloomfile-drawing.so and the library cairo, which are loaded by the first call. */
LOOMFILE_API i32 loomfileDraw(const LoomfileDraft* draft, const LoomfileDrawing* drawing, u32 kind,
                              LoomfileWriter writer, void* context, LoomfileFailure* failure);

/* The Debian packages of the program without which files of a format are not opened, "gzip"; "" when it needs none. The
 * text is a constant. */
LOOMFILE_API const char* loomfileHelperPackages(i32 format);

/* Removes the folders for temporary files of all files that are open, in whatever state they are. For a program's
 * handler of a signal that ends it, and safe there: it only makes system calls. Files can be closed afterwards, but not
 * read. */
LOOMFILE_API void loomfileRemoveWorkFolders(void);

/* The version of the library, "1.0.0". */
LOOMFILE_API const char* loomfileVersion(void);

#ifdef __cplusplus
}
#endif

#endif
