// Drafts are drawn by a module that is loaded when the first is asked for: who draws none does not load cairo.
#include <dlfcn.h>

#include "loomfile/drawing/module.h"
#include "loomfile/guard.h"

using Draw = decltype(&loomfileDrawWithCairo);

// The folder of this library, with a '/'; "" when it is not known.
static std::string ownFolder()
{
    Dl_info info;
    if (dladdr(reinterpret_cast<const void*>(&loomfileDraw), &info) == 0 || info.dli_fname == nullptr)
        return "";
    const std::string path = info.dli_fname;
    return path.substr(0, path.rfind('/') + 1);
}

// Throws Refusal.
static Draw loadModule()
{
    std::string reason;
    for (const std::string& name : {ownFolder() + drawingModule, std::string(drawingModule)}) {
        void* module = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (module != nullptr)
            if (void* entry = dlsym(module, drawingEntry); entry != nullptr)
                return reinterpret_cast<Draw>(entry);
        const char* error = dlerror();
        if (reason.empty() && error != nullptr)
            reason = error;
    }
    throw Refusal{loadUnsupportedVariant,
                  "drafts are drawn by " + std::string(drawingModule) +
                      " and the package libcairo2, which are not there",
                  reason};
}

i32 loomfileDraw(const LoomfileDraft* draft, const LoomfileDrawing* drawing, u32 kind, LoomfileWriter writer,
                 void* context, LoomfileFailure* failure)
{
    Draw draw = nullptr;
    const i32 status = guardedly(failure, [&draw] {
        static const Draw loaded = loadModule();
        draw = loaded;
    });
    return status != loadSuccess ? status : draw(draft, drawing, kind, writer, context, failure);
}
