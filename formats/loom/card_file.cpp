#include "formats/loom/card_file.h"

void reportBilevel(ImageInfo& image, u32 width, u32 height, const char* description, u8 orientationFlag)
{
    image.kind = kindBilevel;
    image.width = width;
    image.height = height;
    reportImage(image, description, orientationFlag);
}

LoadStatus keepCards(File& file, RowFile& slot, const Cards& cards, ImageInfo& image)
{
    reportBilevel(image, cards.width, cards.height, cards.description, cards.orientationFlag);
    image.palette[0] = 0;
    handOver(file, slot, cards.height, cards.rowBytes);
    return loadSuccess;
}
