#include "WriterPool.h"

#include <algorithm>

#include "Board.h"

namespace pellucid {

WriterPool::WriterPool(unsigned threads, size_t slots, size_t bytes) {
    for (size_t i = 0; i < slots; ++i) {
        storage_.push_back(std::make_unique<unsigned char[]>(bytes));
        free_.push_back(storage_.back().get());
    }
    for (unsigned i = 0; i < threads; ++i) threads_.emplace_back([this] { run(); });
}

WriterPool::~WriterPool() {
    std::unique_lock lock(mutex_);
    stopping_ = true;
    queued_.clear();
    lock.unlock();
    changed_.notify_all();
    for (std::thread& t : threads_) t.join();
}

void WriterPool::throwIfFailed() {
    if (!failure_.empty()) throw ToolError(failure_);
}

unsigned char* WriterPool::buffer() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !free_.empty() || !failure_.empty(); });
    throwIfFailed();
    unsigned char* b = free_.back();
    free_.pop_back();
    return b;
}

void WriterPool::release(unsigned char* buffer) {
    const std::lock_guard lock(mutex_);
    free_.push_back(buffer);
}

void WriterPool::submit(unsigned char* buffer, Work work, Finish finish) {
    auto job = std::make_shared<Job>(Job{buffer, std::move(work), std::move(finish), false, {}});
    {
        const std::lock_guard lock(mutex_);
        queued_.push_back(job);
        ordered_.push_back(std::move(job));
    }
    changed_.notify_all();
}

void WriterPool::drain() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return ordered_.empty() || !failure_.empty(); });
    throwIfFailed();
}

void WriterPool::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return stopping_ || !queued_.empty(); });
        if (stopping_) return;
        std::shared_ptr<Job> job = std::move(queued_.front());
        queued_.pop_front();
        lock.unlock();
        std::string why = job->work(job->buffer);
        lock.lock();
        job->done = true;
        job->why = std::move(why);
        // The oldest pictures whose writing is over finish now, so that a picture written early
        // waits for those handed over before it.
        while (!ordered_.empty() && ordered_.front()->done && failure_.empty() && !stopping_) {
            const std::shared_ptr<Job> next = std::move(ordered_.front());
            ordered_.pop_front();
            free_.push_back(next->buffer);
            if (!next->why.empty()) {
                failure_ = next->why;
                break;
            }
            try {
                next->finish();
            } catch (const std::exception& e) {
                failure_ = e.what();
            }
        }
        lock.unlock();
        changed_.notify_all();
        lock.lock();
    }
}

}  // namespace pellucid
