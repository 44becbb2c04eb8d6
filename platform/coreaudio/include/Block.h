#pragma once
// Blocks on systems without them: the part of the system's <Block.h> the
// audio chain uses. Where the chain hands a C++ lambda to a function that
// takes a block (clang converts one to the other in Objective-C++), the
// lambda converts implicitly to a Block of the same signature here.
#include <cstddef>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

namespace qcp::coreaudio {

template <class Signature>
class Block;

// A callable shared by all copies of the handle, like a copied block: copies
// are the same block (equal, so they unregister what another copy
// registered) and cheap to make. The caller makes one from a lambda; the
// callable lives while any handle does and goes, captures and all, on the
// thread that drops the last one. Null by default. Distinct handles may be
// copied, compared and dropped on any threads at once (one handle, like any
// value, not while another thread assigns it); the callable runs on the
// thread that calls it, as safe to call from several at once as it is.
template <class R, class... Args>
class Block<R(Args...)> {
public:
    Block() = default;
    Block(std::nullptr_t) {}
    template <class Callable>
        requires(!std::is_same_v<std::remove_cvref_t<Callable>, Block> && std::is_invocable_r_v<R, Callable&, Args...>)
    Block(Callable callable) : fCallable(std::make_shared<const std::function<R(Args...)>>(std::move(callable))) {}

    R operator()(Args... args) const { return (*fCallable)(std::forward<Args>(args)...); }
    explicit operator bool() const { return fCallable != nullptr; }

    friend bool operator==(const Block& a, const Block& b) { return a.fCallable == b.fCallable; }
    friend bool operator==(const Block& block, std::nullptr_t) { return !block.fCallable; }

private:
    std::shared_ptr<const std::function<R(Args...)>> fCallable;
};

} // namespace qcp::coreaudio

// The same block: handles own it, so copying is taking another handle.
template <class Signature>
qcp::coreaudio::Block<Signature> Block_copy(const qcp::coreaudio::Block<Signature>& block) {
    return block;
}

// Nothing to do: the block goes with its last handle. So releasing more often
// than copying, as a caller that releases once per registration may, is
// harmless.
template <class Signature>
void Block_release(const qcp::coreaudio::Block<Signature>&) {}
