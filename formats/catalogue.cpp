#include "formats/catalogue.h"

#include <cstdlib>

#include "framework/thread_state.h"

const CatalogueRow* catalogueRow(i64 id)
{
    return id >= 1 && id <= formatCount ? &catalogue[id - 1] : nullptr;
}

const char* returnLoaderString(int id)
{
    const CatalogueRow* row = catalogueRow(id);
    return row != nullptr ? row->fullName : "";
}

const char* returnLoaderStringNoLogo(int id)
{
    const CatalogueRow* row = catalogueRow(id);
    return row != nullptr ? row->nameWithoutLogo : "";
}

const char* returnLoaderStringJustLogo(int id)
{
    const CatalogueRow* row = catalogueRow(id);
    return row != nullptr ? row->iconName : "";
}

const char* returnLoaderExtensions(int id)
{
    const CatalogueRow* row = catalogueRow(id);
    return row != nullptr ? row->extensions : "";
}

int returnLoaderReads(int id)
{
    const CatalogueRow* row = catalogueRow(id);
    return row != nullptr && row->isRead ? 1 : 0;
}

int validForDobbyExtraction(int id)
{
    const CatalogueRow* row = catalogueRow(id);
    return row != nullptr && row->validForDobby ? 1 : 0;
}

int isDrapeProject(int id)
{
    return id == formatDrape ? 1 : 0;
}

// Loads that were never ended may be open in several loaders.
void llibFreeState(LoaderState* state)
{
    if (state == nullptr)
        return;
    LoaderState* before = usedState();
    llibUseState(state);
    for (const CatalogueRow& row : catalogue) {
        row.registerLoad();
        getEndLoad()();
    }
    freeTexts(*state);
    free(state);
    llibUseState(before != state ? before : nullptr);
}
