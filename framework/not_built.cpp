// What the interface declares and this version does not do yet. Every loader here refuses every file, every utility
// answers as it does on failure. A row moves out of this file when its loader is built.
#include "framework/loader.h"

static LoadStatus refuse(const LoadRequest&, ImageInfo&)
{
    return loadWrongFormat;
}

static LoadStatus loadNothing(u8*, u32, u32)
{
    return loadBadData;
}

static LoadStatus endNothing()
{
    return loadSuccess;
}

static void registerRefusal()
{
    registerEntries<refuse, loadNothing, endNothing>();
}

void registerLoadPCX()
{
    registerRefusal();
}

void registerLoadTIFF()
{
    registerRefusal();
}

void registerLoadSophisC()
{
    registerRefusal();
}

void registerLoadSophisI()
{
    registerRefusal();
}

void registerLoadSchleicher()
{
    registerRefusal();
}

void registerLoadWeave()
{
    registerRefusal();
}

void registerLoadQTE()
{
    registerRefusal();
}

void registerLoadSometDOP()
{
    registerRefusal();
}

void registerLoadSometCOP()
{
    registerRefusal();
}

void registerLoadSophisW()
{
    registerRefusal();
}

void registerLoadVamatexPID()
{
    registerRefusal();
}

void registerLoadVamatexPIW()
{
    registerRefusal();
}

void registerLoadQTEMOT()
{
    registerRefusal();
}

void registerLoadUWF()
{
    registerRefusal();
}

void registerLoadDrape()
{
    registerRefusal();
}

void registerLoadFabric()
{
    registerRefusal();
}

void registerLoadQTZ()
{
    registerRefusal();
}

void registerLoadDoStyle()
{
    registerRefusal();
}

void registerLoadSMIT()
{
    registerRefusal();
}

void registerLoadNedgraphicsPAT()
{
    registerRefusal();
}

void registerLoadDoWeaveDES()
{
    registerRefusal();
}

void registerLoadSometARM()
{
    registerRefusal();
}

void registerLoadDoTech()
{
    registerRefusal();
}

void registerLoadMus()
{
    registerRefusal();
}

void registerLoadVectorPreview()
{
    registerRefusal();
}

void registerLoadPAL()
{
    registerRefusal();
}

void registerLoadDIS()
{
    registerRefusal();
}

void registerLoadPhotoshopACO()
{
    registerRefusal();
}

void registerLoadPhotoshopACB()
{
    registerRefusal();
}

void initLoadWeave() {}

void initLoadFabric() {}

int readTevrinWeave(FILE*, char*, i32*, i32*, i32*, u8*, i32**, u8**)
{
    return 0;
}

void renderRealImg(u8*, i32, i32, i32, i32, i32, i32, i32, i32, i32, const u8*, i32, i32, i32, i32, const u8*, i32, i32,
                   float)
{
}

i64 checkTrueColorPalette(const u8*, i32, i32, i32, u8*)
{
    return 0;
}

i64 checkRGBAPalette(const u8*, i32, i32, i32, u8*)
{
    return 0;
}

u64 colorQuantize(const u8*, i32, u8*, i32, i32, i32, u8*, i32, i32*)
{
    return 0;
}

u64 trueColorRemapToCmap(const u8*, i32, u8*, i32, i32, i32, const u8*, i32, i32)
{
    return 0;
}

void colorQuantizeDitherFS(const u8*, i32, u8*, i32, i32, i32, i32, i32, const u8*, i32, i32, i32) {}

void colorQuantizeDitherFS16(const u8*, i32, u16*, i32, i32, i32, i32, i32, const u8*, i32, i32, i32) {}

void RGBtoHSL(const i32*, u32*) {}

void HSLtoRGB(const i32*, u32*) {}

void Lab2RGB100(i32, i32, i32, u8*, u8*, u8*) {}

void contrastStretch(u8*, i32, i32, i32, i32, u8*) {}

u8* collapseRGBA(u8* buffer, i32, i32, i32*, i32)
{
    return buffer;
}

void copyTableEqualY(u8*, i32, i32, const i32*) {}

void getRepeatBorder(const u8*, i32, i32, i32, i32, u16*, u16*) {}

u16* selfAvoidTable(i32, i32, i32)
{
    return nullptr;
}
