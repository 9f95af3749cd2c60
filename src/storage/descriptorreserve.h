#ifndef QUORVA_STORAGE_DESCRIPTORRESERVE_H
#define QUORVA_STORAGE_DESCRIPTORRESERVE_H

/**
 * Asks, before Berkeley DB opens files, whether enough descriptors are left for it: an environment that meets the limit
 * while it opens a database panics and is lost until the next recovery. New connections stay out of the last 64
 * descriptors, and a database is opened only when at least 16 are free; an environment only when there is one more for
 * every database file that its recovery may open. An attempt that would fail there takes minutes to do so.
 *
 * Made on the stack around one opening; while it lives, its share is taken into account for other threads.
 */
class DescriptorReserve {
public:
    /** `needed` are the descriptors that the opening itself is going to take, beyond the 16. */
    explicit DescriptorReserve(int needed = 0);
    ~DescriptorReserve();
    DescriptorReserve(const DescriptorReserve&) = delete;
    DescriptorReserve& operator=(const DescriptorReserve&) = delete;

    bool available() const { return available_; }

private:
    const int share_;
    const bool available_;
};

#endif
