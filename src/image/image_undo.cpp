#include "base/callback.h"
#include "image/image_bits.h"

namespace kestr {
namespace {

std::shared_ptr<CImageStackElement> Snapshot(const CImageBits& image) {
    auto element = std::make_shared<CImageStackElement>();
    element->bitmapInfo = image.bitmapInfo;
    element->bits = image.bits;
    element->bits16 = image.bits16;
    element->alpha = image.alpha;
    element->gamma = image.gamma;
    return element;
}

}  // namespace

void CImageBits::PushUndo() {
    undoStack.push_back(Snapshot(*this));
    callback::UndoPushed(undoNotify, true);
}

void CImageBits::PushRedo() {
    redoStack.push_back(Snapshot(*this));
    callback::UndoPushed(undoNotify, false);
}

bool CImageBits::Restore(CStack& stack) {
    if (stack.empty()) return false;
    const std::shared_ptr<CImageStackElement> element = std::move(stack.back());
    stack.pop_back();
    bitmapInfo = element->bitmapInfo;
    bits.swap(element->bits);
    bits16.swap(element->bits16);
    alpha.swap(element->alpha);
    gamma = element->gamma;
    PixelsChanged();
    return true;
}

bool CImageBits::PopUndo(bool pushRedo) {
    if (undoStack.empty()) return false;
    if (pushRedo) PushRedo();
    return Restore(undoStack);
}

bool CImageBits::PopRedo(bool pushUndo) {
    // Unlike PopUndo, the push comes before the test for an empty stack; callers rely on it.
    if (pushUndo) PushUndo();
    return Restore(redoStack);
}

bool CImageBits::PeekUndo() {
    const bool restored = Restore(undoStack);
    PushUndo();
    return restored;
}

uint64_t CImageBits::StackBytes(const CStack& stack) {
    uint64_t bytes = 0;
    for (const auto& element : stack) bytes += element->Size();
    return bytes;
}

void CImageBits::EnforceLimit() {
    if (undoLimit == 0) return;
    uint64_t bytes = StackBytes(undoStack) + StackBytes(redoStack);
    for (CStack* stack : {&redoStack, &undoStack}) {
        while (bytes > undoLimit && !stack->empty()) {
            bytes -= stack->front()->Size();
            stack->erase(stack->begin());
        }
    }
}

void CImageBits::BeginUndoable(int undo) {
    if (undo == 0) return;
    PushUndo();
    redoStack.clear();
    EnforceLimit();
}

}  // namespace kestr
