#include "PageContent.h"

#include <qpdf/Pipeline.hh>

#include <stdexcept>

namespace Pelgra::Documents {

namespace {

/// No page has more content than this; a few bytes that inflate without end do.
constexpr std::size_t contentLimit = std::size_t{512} << 20;

/// Passes everything on to a pipeline that others finish.
class JoiningPipeline final : public Pipeline {
public:
    explicit JoiningPipeline(Pipeline& output)
        : Pipeline("content", &output)
    {
    }

    void write(const unsigned char* data, std::size_t length) override
    {
        m_total += length;
        if (m_total > contentLimit)
            throw std::runtime_error("too much content");
        getNext()->write(data, length);
    }

    void finish() override { }

private:
    std::size_t m_total = 0;
};

class JoinedContent final : public QPDFObjectHandle::StreamDataProvider {
public:
    explicit JoinedContent(std::vector<Object> streams)
        : m_streams(std::move(streams))
    {
    }

    void provideStreamData(const QPDFObjGen&, Pipeline* pipeline) override
    {
        JoiningPipeline joining(*pipeline);
        for (Object& stream : m_streams) {
            stream.pipeStreamData(&joining, 0, qpdf_dl_all, true);
            pipeline->writeCStr("\n"); // no token reaches across the end of a stream
        }
        pipeline->finish();
    }

private:
    std::vector<Object> m_streams;
};

} // namespace

Object contentAsOneStream(ObjectCopier& copier, Object contents)
{
    const std::vector<Object> streams = contentStreamsOf(contents);
    if (streams.size() == 1)
        return copier.copyStreamData(streams.front());
    Object joined = Object::newStream(&copier.output());
    joined.replaceStreamData(std::make_shared<JoinedContent>(streams), Object::newNull(), Object::newNull());
    return joined;
}

} // namespace Pelgra::Documents
