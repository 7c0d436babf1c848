// No exception leaves the C interface.
#pragma once

#include <new>

#include "loomfile/refusal.h"

// What an action throws, as a failure. True when it threw nothing.
template <typename Action>
i32 guardedly(LoomfileFailure* failure, const Action& action)
{
    tellSuccess(failure);
    Refusal refusal{loadOutOfMemory, "there is not enough memory"};
    try {
        action();
        return loadSuccess;
    } catch (const Refusal& thrown) {
        refusal = thrown;
    } catch (const std::bad_alloc&) {
    } catch (const std::exception& thrown) {
        refusal = {loadBadData, "the file cannot be read", thrown.what()};
    }
    tell(refusal, failure);
    return refusal.status;
}
