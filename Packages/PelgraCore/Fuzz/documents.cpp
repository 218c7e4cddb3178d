// A document whose pages are merged, taken apart and organised.
#include "FuzzInput.h"

#include "modules/documents/DocumentsModule.h"
#include "modules/ModuleLoader.h"
#include "PelgraCore/EngineError.h"

#include <algorithm>
#include <array>
#include <exception>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace Pelgra;
    const FuzzInput input(data, size);
    const DocumentsModule& documents = module<DocumentsModule>(DocumentsModule::name);
    NullSink sink;
    try {
        const std::array files{input.path(), input.path()};
        documents.merge(files, {})->write(sink);
        const std::array edits{PageEdit{0, 90}, PageEdit{0, 0}};
        documents.organize(input.path(), edits, true, {})->write(sink);
        const std::unique_ptr<PageSplitter> splitter = documents.split(input.path());
        for (int page = 0; page < std::min(splitter->pageCount(), 3); ++page)
            splitter->writePage(page, sink);
    } catch (const std::exception&) { // what turns out to be unreadable while it is written
    }
    return 0;
}
