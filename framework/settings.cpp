#include <cstdlib>
#include <cstring>

#include "framework/thread_state.h"

namespace
{

// The text that is replaced is kept: a host may still be reading it. Without memory the setting becomes unset.
void storeText(const char* LoaderThreadState::*setting, const char* text)
{
    LoaderThreadState& state = threadState();
    if (text != nullptr && state.*setting != nullptr && strcmp(state.*setting, text) == 0)
        return;
    state.*setting = nullptr;
    if (text == nullptr)
        return;
    const size_t size = strlen(text) + 1;
    auto* kept = static_cast<SettingText*>(malloc(sizeof(SettingText) + size));
    if (kept == nullptr)
        return;
    kept->before = state.settingTexts;
    char* copy = reinterpret_cast<char*>(kept + 1);
    memcpy(copy, text, size);
    state.settingTexts = kept;
    state.*setting = copy;
}

} // namespace

void llibSetTmpDir(const char* text)
{
    storeText(&LoaderThreadState::tmpDir, text);
}

const char* llibGetTmpDir()
{
    return threadState().tmpDir;
}

void llibSetGzipCommand(const char* text)
{
    storeText(&LoaderThreadState::gzipCommand, text);
}

const char* llibGetGzipCommand()
{
    return threadState().gzipCommand;
}

void llibSetUnzipCommand(const char* text)
{
    storeText(&LoaderThreadState::unzipCommand, text);
}

const char* llibGetUnzipCommand()
{
    return threadState().unzipCommand;
}

void llibSetMsExpandCommand(const char* text)
{
    storeText(&LoaderThreadState::msExpandCommand, text);
}

const char* llibGetMsExpandCommand()
{
    return threadState().msExpandCommand;
}

void llibSetVectorPreviewCommand(const char* text)
{
    storeText(&LoaderThreadState::vectorPreviewCommand, text);
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
