#include "framework/thread_state.h"

#include <cstdlib>
#include <new>
#include <type_traits>

namespace
{

// Plain data: a thread pays nothing for the block until it touches the library, and nothing runs when it ends.
static_assert(std::is_trivially_destructible_v<LoaderThreadState>);

// Side by side, so that one look-up of the thread finds both, and one cache line the beginning of both.
struct ThreadStates {
    LoaderThreadState* used; // null = the thread's own
    LoaderThreadState own;
};

constinit thread_local ThreadStates states{};

} // namespace

LoaderThreadState& threadState()
{
    ThreadStates& thread = states;
    return thread.used != nullptr ? *thread.used : thread.own;
}

LoaderState* llibNewState()
{
    void* memory = calloc(1, sizeof(LoaderThreadState));
    return memory != nullptr ? new (memory) LoaderThreadState{} : nullptr;
}

void llibUseState(LoaderState* state)
{
    states.used = state;
}

LoaderThreadState* usedState()
{
    return states.used;
}

void freeTexts(LoaderThreadState& state)
{
    for (SettingText* text = state.settingTexts; text != nullptr;) {
        SettingText* before = text->before;
        free(text);
        text = before;
    }
    free(state.headerPath);
}
