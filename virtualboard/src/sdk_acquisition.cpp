// libfglib5.so: DMA memory, acquisition, picture numbers and status. The board's DMA channel keeps
// the state; its frame source runs while an acquisition does.
#include <cstdlib>
#include <new>
#include <unordered_set>

#include "sdk_handle.h"
#include "vboard/fglib_ext.h"

using namespace vboard;
using namespace vboard::sdk;

// A set of frame buffers. It belongs to a board (an applet hands it on to its own SDK handle for
// the same board) and lives until it is freed or the handle that allocated it goes away.
struct dma_mem_s {
    Board* board;
    const Fg_Struct* owner;
    size_t bufferSize;
    long count;
    unsigned char* data;
};

namespace {

std::mutex memoryMutex;
std::unordered_set<dma_mem*> memories;

// The memory if it is live and belongs to the board, else null.
dma_mem* findMemory(dma_mem* memory, const Board* board) {
    std::lock_guard lock(memoryMutex);
    return memory != nullptr && memories.count(memory) != 0 && memory->board == board ? memory : nullptr;
}

void freeMemory(dma_mem* memory) {
    std::free(memory->data);
    delete memory;
}

int check(HandleState* s, unsigned int dmaIndex, dma_mem* memory, bool memoryRequired) {
    if (dmaIndex != 0) return FG_INVALID_PARAMETER;
    if ((memory != nullptr || memoryRequired) && findMemory(memory, s->board) == nullptr)
        return FG_INVALID_MEMORY;
    return 0;
}

int startAcquisition(Fg_Struct* fg, HandleState* s, long pictureCount, dma_mem* memory) {
    if (pictureCount == 0 || pictureCount < GRAB_INFINITE) return fail(s, FG_INVALID_PARAMETER);
    if (memory == nullptr)
        return fail(s, s->board->acquisition().start(fg, pictureCount, nullptr, 0, nullptr, 0));
    return fail(s, s->board->acquisition().start(fg, pictureCount, memory, memory->count, memory->data,
                                                 memory->bufferSize));
}

}  // namespace

namespace vboard::sdk {

void releaseHandleResources(Fg_Struct* fg, HandleState* s) {
    s->board->acquisition().stopOwnedBy(fg);
    std::lock_guard lock(memoryMutex);
    for (auto it = memories.begin(); it != memories.end();) {
        if ((*it)->owner == fg) {
            // An acquisition of another handle must not outlive its buffers.
            if ((*it)->board->acquisition().uses(*it)) (*it)->board->acquisition().stop();
            (*it)->board->acquisition().forget(*it);
            freeMemory(*it);
            it = memories.erase(it);
        } else {
            ++it;
        }
    }
}

}  // namespace vboard::sdk

extern "C" {

dma_mem* Fg_AllocMemEx(Fg_Struct* fg, size_t bufferSize, long bufferCount) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return nullptr;
    ROUTE_IF_PROVIDED(s, Fg_AllocMemEx, fg, bufferSize, bufferCount)
    if (bufferSize == 0 || bufferCount < 1) {
        fail(s, FG_INVALID_PARAMETER);
        return nullptr;
    }
    const auto count = static_cast<size_t>(bufferCount);
    void* data = bufferSize <= SIZE_MAX / count ? std::calloc(count, bufferSize) : nullptr;
    auto* memory = data != nullptr ? new (std::nothrow) dma_mem_s{s->board, fg, bufferSize, bufferCount,
                                                                  static_cast<unsigned char*>(data)}
                                   : nullptr;
    try {
        if (memory != nullptr) {
            std::lock_guard lock(memoryMutex);
            memories.insert(memory);
        }
    } catch (const std::bad_alloc&) {
        delete memory;
        memory = nullptr;
    }
    if (memory == nullptr) {
        std::free(data);
        fail(s, FG_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    fail(s, 0);
    return memory;
}

int Fg_FreeMemEx(Fg_Struct* fg, dma_mem* memory) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_IF_PROVIDED(s, Fg_FreeMemEx, fg, memory)
    if (findMemory(memory, s->board) == nullptr) return fail(s, FG_INVALID_MEMORY);
    if (s->board->acquisition().uses(memory)) return fail(s, FG_ACQUISITION_RUNNING);
    {
        std::lock_guard lock(memoryMutex);
        if (memories.erase(memory) == 0) return fail(s, FG_INVALID_MEMORY);  // freed meanwhile
    }
    s->board->acquisition().forget(memory);
    freeMemory(memory);
    return fail(s, 0);
}

void* Fg_getImagePtrEx(Fg_Struct* fg, long pictureNumber, unsigned int dmaIndex, dma_mem* memory) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return nullptr;
    ROUTE_IF_PROVIDED(s, Fg_getImagePtrEx, fg, pictureNumber, dmaIndex, memory)
    int error = check(s, dmaIndex, memory, true);
    if (error == 0 && pictureNumber < 1) error = FG_INVALID_PARAMETER;
    // A later picture overwrote its buffer. One not yet complete gives the buffer it will fill.
    if (error == 0 && s->board->acquisition().overwritten(memory, pictureNumber))
        error = FG_INVALID_PARAMETER;
    fail(s, error);
    if (error != 0) return nullptr;
    const auto slot = static_cast<size_t>((pictureNumber - 1) % memory->count);
    return memory->data + slot * memory->bufferSize;
}

int Fg_AcquireEx(Fg_Struct* fg, unsigned int dmaIndex, long pictureCount, int flag, dma_mem* memory) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_AcquireEx, FG_NOT_AVAILABLE, fg, dmaIndex, pictureCount, flag, memory)
    if (int error = check(s, dmaIndex, memory, true)) return fail(s, error);
    return startAcquisition(fg, s, pictureCount, memory);
}

int Fg_Acquire(Fg_Struct* fg, unsigned int dmaIndex, long pictureCount) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_Acquire, FG_NOT_AVAILABLE, fg, dmaIndex, pictureCount)
    if (dmaIndex != 0) return fail(s, FG_INVALID_PARAMETER);
    return startAcquisition(fg, s, pictureCount, nullptr);
}

int Fg_stopAcquireEx(Fg_Struct* fg, unsigned int dmaIndex, dma_mem* memory, int flag) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_stopAcquireEx, FG_NOT_AVAILABLE, fg, dmaIndex, memory, flag)
    if (int error = check(s, dmaIndex, memory, true)) return fail(s, error);
    if (flag != STOP_SYNC && flag != STOP_ASYNC) return fail(s, FG_INVALID_PARAMETER);
    return fail(s, s->board->acquisition().stop(flag == STOP_SYNC));
}

int Fg_stopAcquire(Fg_Struct* fg, unsigned int dmaIndex) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_stopAcquire, FG_NOT_AVAILABLE, fg, dmaIndex)
    if (dmaIndex != 0) return fail(s, FG_INVALID_PARAMETER);
    return fail(s, s->board->acquisition().stop());
}

long Fg_getLastPicNumberEx(Fg_Struct* fg, unsigned int dmaIndex, dma_mem* memory) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_getLastPicNumberEx, FG_NOT_AVAILABLE, fg, dmaIndex, memory)
    if (int error = check(s, dmaIndex, memory, true)) return fail(s, error);
    fail(s, 0);
    return s->board->acquisition().lastPicture();
}

long Fg_getLastPicNumberBlockingEx(Fg_Struct* fg, long pictureNumber, unsigned int dmaIndex, int timeout,
                                   dma_mem* memory) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_getLastPicNumberBlockingEx, FG_NOT_AVAILABLE, fg, pictureNumber, dmaIndex, timeout,
                    memory)
    if (int error = check(s, dmaIndex, memory, true)) return fail(s, error);
    if (pictureNumber < 1) return fail(s, FG_INVALID_PARAMETER);
    const long result = s->board->acquisition().waitForPicture(pictureNumber, timeout);
    fail(s, result < 0 ? static_cast<int>(result) : 0);
    return result;
}

long Fg_getStatusEx(Fg_Struct* fg, int parameter, long data, unsigned int dmaIndex, dma_mem* memory) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_getStatusEx, FG_NOT_AVAILABLE, fg, parameter, data, dmaIndex, memory)
    if (int error = check(s, dmaIndex, memory, false)) return fail(s, error);
    const Acquisition& a = s->board->acquisition();
    const AcquisitionCounters counters = a.counters();
    long result = FG_INVALID_PARAMETER;
    switch (parameter) {
        case VBOARD_STATUS_ACQUIRING:
            result = a.running() ? 1 : 0;
            break;
        case VBOARD_STATUS_LAST_PICTURE:
            result = a.lastPicture();
            break;
        case VBOARD_STATUS_PICTURES_WANTED:
            result = a.wanted();
            break;
        case VBOARD_STATUS_BUFFER_COUNT:
            result = a.bufferCount();
            break;
        case VBOARD_STATUS_FRAMES_DELIVERED:
            result = counters.delivered;
            break;
        case VBOARD_STATUS_FRAMES_LOST:
            result = counters.lost;
            break;
        case VBOARD_STATUS_START_OF_FRAME_EVENTS:
            result = counters.startOfFrame;
            break;
        case VBOARD_STATUS_END_OF_FRAME_EVENTS:
            result = counters.endOfFrame;
            break;
        case VBOARD_STATUS_FILL_LEVEL:
            result = a.fillLevel();
            break;
        case VBOARD_STATUS_MISSED_TRIGGERS:
            result = counters.missedTriggers;
            break;
        case VBOARD_STATUS_CAMERA_FRAME:
        case VBOARD_STATUS_EXPOSURE_START_NS: {
            PictureInfo info;
            if (a.pictureInfo(data, &info))
                result = parameter == VBOARD_STATUS_CAMERA_FRAME ? static_cast<long>(info.cameraFrame)
                                                                 : static_cast<long>(info.exposureStartNs);
            break;
        }
    }
    fail(s, result < 0 && parameter != VBOARD_STATUS_PICTURES_WANTED ? static_cast<int>(result) : 0);
    return result;
}

}  // extern "C"
