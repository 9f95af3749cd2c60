#ifndef QUORVA_STORAGE_DESCRIPTORRESERVE_H
#define QUORVA_STORAGE_DESCRIPTORRESERVE_H

/**
 * Asks, before Berkeley DB opens files, whether enough descriptors are left for it: an environment that meets the limit
 * while it opens a database panics and is lost until the next recovery. A database is opened only when at least 16 are
 * free; an environment only when there is one more for every database file that its recovery may open. An attempt that
 * would fail there takes minutes to do so. So that connections do not use them up, they are kept out of the last 64
 * (see includes()).
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

    /** True for one of the last 64 descriptors below the process's limit: a connection that got it has to be closed. */
    static bool includes(int descriptor);

    bool available() const { return available_; }

private:
    const int share_;
    const bool available_;
};

#endif
