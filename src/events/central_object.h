// The central object: the content handler that the reader calls, the owner
// of the element handlers, the options and everything a conversion knows
// about the document being read. Its layers, base first: SaxContentBase
// (empty callbacks), TagDispatcher (the element handlers and the dispatch of
// events to them), ColladaReader (options and document state, start and end
// of a document) and X3dConverter (the writing, in document/).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "events/conversion_options.h"
#include "events/document_state.h"
#include "events/element_kinds.h"
#include "events/tag_handler.h"
#include "events/xml_reader.h"
#include "nodes/x3d_node.h"
#include "support/name_index.h"
#include "support/progress.h"
#include "support/text_output.h"

namespace morvane {

class AnimationNode;

class SaxContentBase : public SaxContentHandler {
public:
    void startDocument() override {}
    void endDocument() override {}
    void startElement(std::string_view, const AttributeList&) override {}
    void endElement(std::string_view) override {}
    void characters(const char*, std::size_t) override {}
};

class TagDispatcher : public SaxContentBase {
public:
    // Offers a start tag to the handlers; the one that accepts becomes
    // CurrentHandler, after its Start has run.
    void startElement(std::string_view localName, const AttributeList& attributes) override;
    void endElement(std::string_view localName) override;
    // Text goes to CurrentHandler while it is open, and is dropped otherwise.
    void characters(const char* chars, std::size_t count) override;

    TagHandler* FindHandler(std::string_view name) const;
    template <class T>
    T* FindHandlerAs(std::string_view name) const {
        return dynamic_cast<T*>(FindHandler(name));
    }
    // Whether an element of this name is open; false for an unknown name.
    bool IsTagOpen(std::string_view name) const;

    // In registration order.
    std::vector<std::unique_ptr<TagHandler>> Handlers;
    TagHandler* CurrentHandler = nullptr;
    // Element kinds of the document that tell why it gave no output.
    SeenKinds Seen;

    void AddHandler(std::unique_ptr<TagHandler> handler);

protected:
    // Drops the handlers and what the dispatch knows of the document, so
    // that the handlers of the next document start from nothing.
    void ForgetHandlers();

private:
    // Names are unique, so finding the handler by name picks exactly the one
    // that a walk over the list in order would stop at.
    FixedNameTable<TagHandler*> byName_;
    std::string startName_;
    std::string endName_;
    std::string scratch_;
};

class ColladaReader : public TagDispatcher {
public:
    ColladaReader();
    ~ColladaReader() override;

    // A clean start: a new DocumentState and new handlers, so that nothing
    // of the previous document is left; only the conversion's settings
    // below carry over.
    void startDocument() override;
    void endDocument() override;
    void documentBytes(std::uint64_t bytes) override { State().InputBytes = bytes; }

    // Writes the X3D document; nothing at this layer.
    virtual void Write();

    // The document being read, or the last one read, up to the start of
    // the next.
    DocumentState& State() { return *state_; }
    const DocumentState& State() const { return *state_; }

    // The node that scene elements attach to: the top of NodeStack, or null
    // while no library element has opened.
    TransformNode* CurrentNode() const {
        return State().NodeStack.empty() ? nullptr : State().NodeStack.back();
    }
    // The animation that sources, accessors and sampler inputs fill: the top
    // of AnimationStack while an animation element counts as open, or null.
    AnimationNode* CurrentAnimation() const {
        const auto& stack = State().AnimationStack;
        return IsTagOpen("animation") && !stack.empty() ? stack.back() : nullptr;
    }
    // What TransformNode::FindDescendant of LibraryRoot finds, through an
    // index built at the first search of a document's writing, once the
    // library tree is complete.
    TransformNode* FindLibraryNode(std::string_view id);

    // The settings of the conversion, set before its first document.
    ConversionOptions Options;
    // The output's name; the viewpoints are named after it.
    std::string OutputFileName;
    // Where the text of the output goes.
    OutputSink* Output = nullptr;
    // Where the progress marks go; null drops them.
    ProgressSink* Progress = nullptr;
    void MarkProgress(char mark) {
        if (Progress != nullptr) Progress->Mark(mark);
    }

private:
    void RegisterHandlers();

    std::unique_ptr<DocumentState> state_;
};

}  // namespace morvane
