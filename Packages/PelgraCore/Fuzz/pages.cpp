// A document that is opened, drawn and read.
#include "FuzzInput.h"

#include "pages/OpenRenderer.h"
#include "PelgraCore/EngineError.h"

#include <algorithm>
#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace Pelgra;
    constexpr double scale = 0.2;
    const FuzzInput input(data, size);
    try {
        const std::unique_ptr<PageRenderer> document = openRenderer(input.path());
        document->losses();
        for (int page = 0; page < std::min(document->pageCount(), 3); ++page) {
            document->isColorless(page, {});
            const PageSize shown = document->displayedSize(page);
            if (shown.width * shown.height < 4e6)
                document->render(page, scale);
            document->textPieces(page, {});
        }
    } catch (const EngineError&) {
    } catch (const std::runtime_error&) { // a page that takes too much
    }
    return 0;
}
