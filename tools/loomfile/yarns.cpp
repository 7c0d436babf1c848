#include "yarns.h"

#include <algorithm>

struct CloseCloth {
    void operator()(LoomfileCloth* cloth) const { loomfileCloseCloth(cloth); }
};
using ClothHandle = std::unique_ptr<LoomfileCloth, CloseCloth>;

static ClothHandle openCloth(const RenderRequest& request, const Picture& picture)
{
    const DraftHandle draft = writtenDraft(picture);
    const bool isWeave = draft != nullptr || picture.info.kind == kindBilevel;
    if (!isWeave && (request.warp || request.weft))
        throw Failure{exitUsage, picture.file, "the picture has colours of its own, --warp and --weft are for weaves"};
    LoomfileClothOptions options = loomfileClothOptions();
    options.hasWarp = request.warp ? 1 : 0;
    options.hasWeft = request.weft ? 1 : 0;
    if (request.warp)
        std::copy(request.warp->begin(), request.warp->end(), options.warp);
    if (request.weft)
        std::copy(request.weft->begin(), request.weft->end(), options.weft);
    LoomfileFailure failure = loomfileFailure();
    ClothHandle cloth(loomfileOpenCloth(picture.handle.get(), draft.get(), &options, &failure));
    if (cloth == nullptr)
        throw Failure{failure.status, picture.file, failure.sentence, failure.signal};
    return cloth;
}

Pixels drawYarns(const RenderRequest& request, const Picture& picture)
{
    constexpr double resolutionUnit = 1000;
    const double screen = request.dotsPerInch * resolutionUnit * request.zoom;
    LoomfileClothView view = loomfileClothView();
    view.width = static_cast<u32>(request.size.x);
    view.height = static_cast<u32>(request.size.y);
    view.pixelsAnEnd = screen / knownResolution(picture.info.resX, request.sett.x);
    view.pixelsAPick = screen / knownResolution(picture.info.resY, request.sett.y);
    view.left = request.at.x / view.pixelsAnEnd;
    view.top = request.at.y / view.pixelsAPick;
    constexpr double mostPixels = 256;
    constexpr double leastPixels = 1.0 / 4096;
    if (std::max(view.pixelsAnEnd, view.pixelsAPick) > mostPixels)
        throw Failure{exitUsage, request.source, "the cloth is magnified too much, choose a smaller zoom"};
    if (std::min(view.pixelsAnEnd, view.pixelsAPick) < leastPixels)
        throw Failure{exitUsage, request.source, "the cloth is much too small to be seen, choose a larger zoom"};

    const ClothHandle cloth = openCloth(request, picture);
    Pixels pixels(static_cast<u8*>(malloc(size_t{3} * view.width * view.height)));
    if (pixels == nullptr ||
        loomfileDrawCloth(cloth.get(), &view, 0, view.height, pixels.get(), 3 * view.width, 3) != loadSuccess)
        throw Failure{exitOutOfMemory, request.source, "there is not enough memory for a drawing of this size"};
    return pixels;
}
