#pragma once

#include "files/ByteSink.h"
#include "PelgraCore/EngineError.h"

#include <qpdf/Pipeline.hh>

#include <exception>
#include <span>
#include <stop_token>

namespace Pelgra::Documents {

/// Where the writer of a document puts its bytes. The first failure of the sink, or a requested stop, is kept: code on
/// the way may swallow an exception, and a cut-off document must not pass for a complete one.
class SinkPipeline final : public Pipeline {
public:
    SinkPipeline(ByteSink& sink, std::stop_token stop)
        : Pipeline("output", nullptr)
        , m_sink(sink)
        , m_stop(std::move(stop))
    {
    }

    void write(const unsigned char* data, std::size_t length) override
    {
        rethrowFailure();
        try {
            if (m_stop.stop_requested())
                throw JobCancelled();
            m_sink.write(std::as_bytes(std::span(data, length)));
        } catch (...) {
            m_failure = std::current_exception();
            throw;
        }
    }

    void finish() override { }

    void rethrowFailure() const
    {
        if (m_failure)
            std::rethrow_exception(m_failure);
    }

private:
    ByteSink& m_sink;
    std::stop_token m_stop;
    std::exception_ptr m_failure;
};

} // namespace Pelgra::Documents
