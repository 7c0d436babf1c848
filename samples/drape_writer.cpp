#include "samples/drape_writer.h"

#include <string>

#include "samples/bytes.h"

std::vector<uint8_t> encodeDrape(const std::vector<uint8_t>& pictureFile)
{
    // Blocks that look like records and line ends must not be taken for any.
    const std::string points = "#ST\n#START_IMAGE";
    std::vector<uint8_t> bytes;
    addText(bytes, "#NEW_REGION\n#NAME=sleeve\n#CPOINTS=4\n" + points + "#HVECT=1\n\n\n\n\n#VVECT=4\n" + points);
    addText(bytes, "#TEXTURE_START=15\n" + points + "#ANGLE=30\n");
    addText(bytes, "#START_IMAGE=" + std::to_string(pictureFile.size()) + "\n");
    bytes.insert(bytes.end(), pictureFile.begin(), pictureFile.end());
    addText(bytes, "#END\n");
    return bytes;
}
