// Prints README's table of formats: what the catalogue says, and the gallery's picture of the first sample.
#include <algorithm>
#include <cstdio>

#include "formats/catalogue.h"
#include "samples/all_samples.h"

int main()
{
    puts("| id | format | extensions | kind | ends x picks, or pixels | files | picture |");
    puts("|---:|---|---|---|---|---|---|");
    for (const CatalogueRow& row : catalogue) {
        const auto samples = allSamples();
        const auto sample =
            std::find_if(samples.begin(), samples.end(), [&](const Sample& one) { return one.format == row.id; });
        printf("| %d | %s | %s | %s | %s | %s |", row.id, row.fullName, row.extensions[0] != 0 ? row.extensions : "-",
               row.kinds, row.sizes, row.files);
        if (row.isRead && sample != samples.end())
            printf(" [sample](docs/gallery/%s.png) |\n", sample->name);
        else
            puts("  |");
    }
    return 0;
}
