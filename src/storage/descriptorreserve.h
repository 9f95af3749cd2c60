#ifndef QUORVA_STORAGE_DESCRIPTORRESERVE_H
#define QUORVA_STORAGE_DESCRIPTORRESERVE_H

/**
 * Asks, before Berkeley DB opens files, whether enough descriptors are left for it: an environment that meets the limit
 * while it opens a database panics and is lost until the next recovery. New connections stay out of the last 64
 * descriptors, and a database is opened only when at least 16 are free.
 *
 * Made on the stack around one opening; while it lives, its share is taken into account for other threads.
 */
class DescriptorReserve {
public:
    DescriptorReserve();
    ~DescriptorReserve();
    DescriptorReserve(const DescriptorReserve&) = delete;
    DescriptorReserve& operator=(const DescriptorReserve&) = delete;

    bool available() const { return available_; }

private:
    bool available_;
};

#endif
