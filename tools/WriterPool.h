// Writes a grab's pictures on a few threads while it goes on acquiring, and finishes them in the
// order they were handed over.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace pellucid {

class WriterPool {
  public:
    // Writes the picture in `pixels`; empty on success, else why it failed.
    using Work = std::function<std::string(const unsigned char* pixels)>;
    // Runs after a successful Work, in handing-over order, one at a time; may throw.
    using Finish = std::function<void()>;

    // `threads` writers and `slots` buffers of `bytes` each for pictures handed over.
    WriterPool(unsigned threads, size_t slots, size_t bytes);
    // Drops what waits, lets running writes end and joins; their pictures are not finished.
    ~WriterPool();
    WriterPool(const WriterPool&) = delete;
    WriterPool& operator=(const WriterPool&) = delete;

    // A free buffer to copy the next picture into, waiting while all are taken. Throws ToolError
    // with the first failure of a writer.
    unsigned char* buffer();
    // Hands over the buffer from buffer(), filled, with what to do with it.
    void submit(unsigned char* buffer, Work work, Finish finish);
    // Gives back the buffer from buffer() unused.
    void release(unsigned char* buffer);
    // Waits until everything handed over is finished; throws ToolError with the first failure.
    void drain();

  private:
    struct Job {
        unsigned char* buffer;
        Work work;
        Finish finish;
        bool done = false;
        std::string why;
    };
    void run();
    void throwIfFailed();  // under mutex_

    std::vector<std::unique_ptr<unsigned char[]>> storage_;
    std::vector<unsigned char*> free_;
    std::deque<std::shared_ptr<Job>> queued_;   // not yet started
    std::deque<std::shared_ptr<Job>> ordered_;  // handed over and not yet finished, oldest first
    std::string failure_;
    bool stopping_ = false;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::thread> threads_;
};

}  // namespace pellucid
