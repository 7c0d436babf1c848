#include "samples/pbm_writer.h"

#include "samples/bytes.h"

std::vector<uint8_t> encodePbm(const Picture& picture, const PbmOptions& options)
{
    bool bilevel = picture.kind == pictureBilevel;
    char type = options.type != 0 ? options.type : (bilevel ? '4' : '6');
    if (type < '4' || type > '6' || (type == '4' && !bilevel))
        return {};
    std::string header = std::string("P") + type + "\n";
    if (!options.comment.empty())
        header += "# " + options.comment + "\n";
    header += std::to_string(picture.width) + " " + std::to_string(picture.height) + "\n";
    if (type != '4')
        header += "255\n";

    std::vector<uint8_t> bytes;
    addText(bytes, header);
    std::vector<uint8_t> rows = type == '4' ? picture.rows : toRgb(picture).rows;
    if (type == '5') {
        for (size_t i = 0; i < rows.size(); i += 3)
            bytes.push_back(static_cast<uint8_t>((299 * rows[i] + 587 * rows[i + 1] + 114 * rows[i + 2] + 500) / 1000));
    } else {
        bytes.insert(bytes.end(), rows.begin(), rows.end());
    }
    return bytes;
}
