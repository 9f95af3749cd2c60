#ifndef QUORVA_BASE_DESCRIPTOR_H
#define QUORVA_BASE_DESCRIPTOR_H

#include <utility>

#include <unistd.h>

namespace Base {

/** Owns a file descriptor and closes it on destruction. */
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        Descriptor taken(std::move(other));
        std::swap(descriptor_, taken.descriptor_);
        return *this;
    }
    ~Descriptor()
    {
        if (isOpen())
            ::close(descriptor_);
    }

    bool isOpen() const { return descriptor_ >= 0; }
    /** Negative if there is none. */
    int number() const { return descriptor_; }
    /** Releases the descriptor to the caller, who must close it. */
    [[nodiscard]] int release() { return std::exchange(descriptor_, -1); }

private:
    int descriptor_ = -1;
};

} // namespace Base

#endif
