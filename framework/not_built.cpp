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

void registerLoadTis()
{
    registerRefusal();
}

void registerLoadGrosse()
{
    registerRefusal();
}

void registerLoadEAT()
{
    registerRefusal();
}

void registerLoadAVLJ1P()
{
    registerRefusal();
}

void registerLoadPUN()
{
    registerRefusal();
}

void registerLoadVaritexPAT()
{
    registerRefusal();
}

void registerLoadIAMPAT()
{
    registerRefusal();
}

void registerLoadIAMBBI()
{
    registerRefusal();
}

void registerLoadTakemuraDAT()
{
    registerRefusal();
}

void registerLoadTongYuanDY()
{
    registerRefusal();
}

void registerLoadPignoneARM()
{
    registerRefusal();
}

void registerLoadUPT()
{
    registerRefusal();
}

void registerLoadAPF()
{
    registerRefusal();
}

void registerLoadColorado()
{
    registerRefusal();
}

void registerLoadTakemuraCGS()
{
    registerRefusal();
}

void registerLoadNissan()
{
    registerRefusal();
}

void registerLoadMotongPAT()
{
    registerRefusal();
}

void registerLoadMotongSTI()
{
    registerRefusal();
}

void registerLoadPanter()
{
    registerRefusal();
}

void registerLoadNedgraphicsDES()
{
    registerRefusal();
}

void registerLoadWBF()
{
    registerRefusal();
}

void registerLoadWB()
{
    registerRefusal();
}

void registerLoadORG()
{
    registerRefusal();
}

void registerLoadTsudakomaDP5()
{
    registerRefusal();
}

void registerLoadActWJL()
{
    registerRefusal();
}
