#pragma once

#include "Input.h"

namespace Pelgra::Documents {

/// Rewrites what leads to pages, so that it leads to their copies. Named destinations become explicit ones. A link
/// into another file that is an input as well becomes a link to its pages.
class LinkRewriter {
public:
    /// The inputs of the output, of which `input` is the one whose links are rewritten.
    LinkRewriter(Input& input, const std::vector<std::unique_ptr<Input>>& inputs);

    /// An explicit destination in the output, or null where the page is not there.
    Object destination(Object value);

    /// The action with those that follow it, without any that lead to no page; null where nothing is left.
    Object action(Object value);

    /// A dictionary of actions by event, or null.
    Object actionsByEvent(Object dictionary);

    /// Whether a link or outline entry (with /Dest or /A) has something to lead to. Copies nothing.
    bool leadsSomewhere(Object holder);

    /// Whether it has a target at all, even one whose page is gone.
    static bool hasTarget(Object holder);

private:
    Object destinationIn(Input& input, Object value);
    Object explicitDestination(Input& input, const std::vector<Object>& items);
    /// The destination in another input that a remote action stands for, else null.
    Object remoteDestination(Object action);
    /// One action without its successors; null where it leads to no page.
    Object singleAction(Object action);
    bool actionLeadsSomewhere(Object action);

    Input& m_input;
    const std::vector<std::unique_ptr<Input>>& m_inputs;
};

/// The pages of the source that a link or outline entry (with /Dest or /A) leads to by itself or by what follows.
std::vector<std::size_t> pagesLedTo(SourceDocument& source, Object holder);

} // namespace Pelgra::Documents
