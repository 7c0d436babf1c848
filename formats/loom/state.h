// What the loom loaders remember between tryLoad, loadBand and endLoad.
#pragma once

#include <cstdio>

#include "framework/rows.h"
#include "framework/temporary.h"
#include "tload.h"

constexpr u32 partNameBytes = 4096;

enum class StaubliFormat : u32 { none, jc4, email, jc3, network, loom, jc5 };

// Shared by all Staubli loaders: a thread loads one file at a time.
struct StaubliState {
    FILE* file;           // the current part
    StaubliFormat format; // whose file it is
    u32 nameLength;
    char partName[partNameBytes];
    TemporaryPath unpacked; // the open file when it was packed
    u32 rowsLeft;           // of the whole design
    u32 rowBytes;           // of a pick in the file
    u32 width;
    u32 hookModule;
    u32 moduleCount;
    i64 partCounter;    // bytes, or for JC III picks, taken from the current part
    i64 partDataLength; // bytes of picks in the current part; below 0 when not even its header is complete
    bool multiPart;
    i32 picksPerPart;
};

// What JC5 adds.
struct StaubliJc5State {
    i64 picksLeft; // in the current part
    i64 dataStart;
    u32 groupCount;
    u32* groupWidths; // owned
};

struct BonasState {
    FILE* file; // the current part
    u32 nameLength;
    char partName[partNameBytes];
    TemporaryPath expanded; // removed at the end
    u32 picksPerFile;
    u32 fileCount;
    u32 fileRowBytes;
    u32 rowCounter; // picks delivered
    u32 height;
};

struct ProgramFormat;

// A program of picks and repeats.
struct RepeatProgram {
    const ProgramFormat* format; // whose records they are; null = none
    u8* records;                 // owned
    u32 recordCount;
    u32 rows; // of the picture
};

struct SchleicherState {
    FILE* file; // at the next record
    u32 rowsLeft;
    u32 rowBytes;
    u32 extraBytes; // behind the hooks of a record
    u32 block;      // how many groups of hooks take turns
};

struct QteState {
    RowFile rows;
    u32 bitOffset; // of the first pixel in a stored row, 0..7
    u32 width;
    TemporaryPath unpacked; // removed at the end
};

// Shared by the loaders of Varitex, Zhu, Chinese and Most dobby files.
struct ChineseState {
    RowFile rows;
    u32 columns; // of a Most dobby file, which holds columns instead of rows
};

// Shared by the loaders of Takemura, Tsudakoma and Act files.
struct TakemuraState {
    RowFile rows;
    u32 pixelBytes; // of a CGS row, which may be longer
};

struct TisState {
    FILE* file;                   // the current part
    char partName[partNameBytes]; // its number is in the last two characters
    u32 nameLength;
    u32 rowBytes;
    u64 picksPerPart; // 0 = all picks are in one part
    u32 rowCounter;   // picks delivered
    u32 width;
    u32 height;
};

struct EatState {
    u8* pixels; // owned: those of all rows in one stream
    u32 bitsPerPixel;
    u32 width;
    u32 height;
    u32 rowCounter; // rows delivered
};

struct ColoradoState {
    FILE* file;
    u32 width;
    u32 rowsLeft;
};

struct LoomState {
    StaubliState staubli;
    StaubliJc5State staubliJc5;
    BonasState bonas;
    RowTable wif;
    RowFile dobby1858;
    RepeatProgram somet;
    RowFile sometArm;
    RepeatProgram vamatex;
    RowTable dornier;
    RowTable doweave;
    RowFile sophis;
    RowTable uwf;
    SchleicherState schleicher;
    RowTable smit;
    RowFile nedgraphics;
    QteState qte;
    ChineseState chinese;
    TakemuraState takemura;
    TisState tis;
    EatState eat;
    RowFile iam;
    RowFile nissan;
    RowFile viable;
    RowTable pignone;
    RowFile tongYuan;
    ColoradoState colorado;
    RowFile avl;
};
