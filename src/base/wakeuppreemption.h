#ifndef QUORVA_BASE_WAKEUPPREEMPTION_H
#define QUORVA_BASE_WAKEUPPREEMPTION_H

/**
 * Whether the calling thread, when it is woken, may take the processor from the thread that runs there, which most
 * often is the one that has woken it. The system's usual answer is yes.
 *
 * That is right for a thread that the disk has woken. A thread that waits for requests, however, interrupts a client
 * that is about to send more of them, or to wait for the reply anyhow: two switches of threads for nothing. So such a
 * thread gives it up as long as it does not need the disk. It then gets the processor when the client waits, or
 * elsewhere.
 *
 * Each thread speaks for itself. One that was given another scheduling policy from outside (chrt, systemd) keeps that.
 */
namespace Base::WakeupPreemption {

/** So many waits for requests must follow each other, without the disk between them, for preemption to be given up. */
constexpr int Patience = 8;

/** Before a wait for a request. */
void beforeRequest();

/**
 * Before the thread waits for the disk, has another one wait for it, or creates a thread, which inherits the policy.
 * Without an effect it costs almost nothing.
 */
void regain();

} // namespace Base::WakeupPreemption

#endif
