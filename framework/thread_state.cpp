#include "framework/thread_state.h"

#include <type_traits>

// Plain data: a thread pays nothing for the block until it touches the library, and nothing runs when it ends.
static_assert(std::is_trivially_destructible_v<LoaderThreadState>);

static constinit thread_local LoaderThreadState state{};

LoaderThreadState& threadState()
{
    return state;
}
