#include <cstring>

#include "framework/thread_state.h"

// The text that is replaced is not freed: a host may still be reading it.
static void storeText(char*& setting, const char* text)
{
    setting = text == nullptr ? nullptr : strdup(text);
}

void llibSetTmpDir(const char* text)
{
    storeText(threadState().tmpDir, text);
}

const char* llibGetTmpDir()
{
    return threadState().tmpDir;
}

void llibSetGzipCommand(const char* text)
{
    storeText(threadState().gzipCommand, text);
}

const char* llibGetGzipCommand()
{
    return threadState().gzipCommand;
}

void llibSetUnzipCommand(const char* text)
{
    storeText(threadState().unzipCommand, text);
}

const char* llibGetUnzipCommand()
{
    return threadState().unzipCommand;
}

void llibSetMsExpandCommand(const char* text)
{
    storeText(threadState().msExpandCommand, text);
}

const char* llibGetMsExpandCommand()
{
    return threadState().msExpandCommand;
}

void llibSetVectorPreviewCommand(const char* text)
{
    storeText(threadState().vectorPreviewCommand, text);
}

const char* llibGetVectorPreviewCommand()
{
    return threadState().vectorPreviewCommand;
}

void llibSetBonasLinePadding(u32 padding)
{
    threadState().bonasLinePadding = padding;
}

void setDefaultMappingJC4(u32 selector)
{
    threadState().defaultMappingJC4 = selector;
}

void setVerboseXML(u32 on)
{
    threadState().verboseXML = on;
}
