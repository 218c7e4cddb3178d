#include "RunPart.h"

#include "MuPDFVersion.h"

namespace Pelgra::Rendering {

bool runPart(fz_context* context, RunPage run, pdf_page* page, fz_device* device, fz_matrix matrix,
             fz_cookie* cookie) noexcept
{
    bool hadMemory = true;
    fz_var(hadMemory);
    fz_try(context)
    {
        run(context, page, device, matrix, cookie);
    }
    fz_catch(context)
    {
        hadMemory = !isOutOfMemory(context);
    }
    return hadMemory;
}

} // namespace Pelgra::Rendering
