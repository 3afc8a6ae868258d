// pellucidsrc: a live GStreamer source that delivers the pictures of a Pellucid board as video/x-raw.
// The board is opened, locked and configured as the pellucid tool does it, with the tool's pieces.
#include <gst/base/gstpushsrc.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "Board.h"
#include "BoardValues.h"
#include "Grab.h"
#include "GrabWarnings.h"
#include "ParameterTree.h"
#include "SdkQueries.h"
#include "State.h"
#include "fglib5.h"

GST_DEBUG_CATEGORY_STATIC(pellucid_debug);
#define GST_CAT_DEFAULT pellucid_debug

namespace {

using pellucid::ToolError;
using Clock = std::chrono::steady_clock;

constexpr const char* kCol24 = "FG_COL24";
constexpr const char* kCol48 = "FG_COL48";
constexpr uint32_t kRightAligned = 0;  // FG_BITALIGNMENT: 12 bits in the low bits of a 16-bit sample
constexpr auto kSlice = std::chrono::milliseconds(1);

// The board's two pixel formats. GStreamer has no packed 48-bit RGB, so FG_COL48 goes out as
// RGBA64_LE: the same little-endian 16-bit R, G, B with an opaque alpha added.
GstVideoFormat videoFormat(int bytesPerChannel) {
    return bytesPerChannel == 2 ? GST_VIDEO_FORMAT_RGBA64_LE : GST_VIDEO_FORMAT_RGB;
}

#define PELLUCID_CAPS                                                                              \
    "video/x-raw, format = (string) { RGB, RGBA64_LE }, width = (int) [ 1, MAX ], height = (int) " \
    "[ 1, MAX ], framerate = (fraction) [ 0/1, MAX ]"

GstStaticPadTemplate srcTemplate =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS(PELLUCID_CAPS));

struct Settings {
    unsigned board = 0;
    std::string config;
    std::string set;
    bool workingConfig = true;
    unsigned timeout = 5;
    unsigned buffers = 8;
};

// Everything that lives while the element is started; touched by the state changes and the
// streaming thread, one at a time under `mutex`.
struct Session {
    std::unique_ptr<pellucid::BoardLock> lock;
    std::unique_ptr<pellucid::Board> board;
    std::unique_ptr<pellucid::Acquisition> acquisition;
    pellucid::FrameFormat format;
    GstVideoInfo info;
    bool lowAligned = false;
    long buffers = 8;
    long next = 1;       // the next picture number of the running acquisition
    guint64 offset = 0;  // pictures delivered since start, across restarts
    GstClockTime period = GST_CLOCK_TIME_NONE;
    // Board time (ns) to running time, fixed at the first picture of an acquisition.
    std::optional<gint64> toRunningTime;
    GstClockTime lastPts = GST_CLOCK_TIME_NONE;
    bool discont = true;
};

}  // namespace

struct GstPellucidSrc {
    GstPushSrc parent;
    Settings* settings;
    Session* session;
    std::mutex* mutex;  // guards settings and session
    std::atomic<bool> flushing;
    std::atomic<bool> restart;
};

struct GstPellucidSrcClass {
    GstPushSrcClass parent_class;
};

G_DEFINE_TYPE(GstPellucidSrc, gst_pellucid_src, GST_TYPE_PUSH_SRC)

namespace {

enum { PROP_0, PROP_BOARD, PROP_CONFIG, PROP_SET, PROP_WORKING_CONFIG, PROP_TIMEOUT, PROP_BUFFERS };

GstPellucidSrc* self(gpointer object) {
    return reinterpret_cast<GstPellucidSrc*>(object);
}

// The SDK's number and meaning go into the debug text, so that the bus error tells both what
// failed (the message) and why (the parameter and the SDK's error).
std::string detail(const ToolError& e) {
    std::string s;
    if (!e.parameter.empty()) s = "parameter " + e.parameter;
    if (e.code != 0) s += (s.empty() ? "" : "; ") + std::string("SDK error ") + pellucid::errorText(e.code);
    return s;
}

#define POST_ERROR(src, kind, e) \
    GST_ELEMENT_ERROR(src, RESOURCE, kind, ("%s", (e).what()), ("%s", detail(e).c_str()))

// "NAME=VALUE,NAME=VALUE": the tool's --set assignments, separated by commas.
void applyAssignments(pellucid::Board& board, const std::string& list) {
    size_t start = 0;
    while (start <= list.size()) {
        size_t end = list.find(',', start);
        if (end == std::string::npos) end = list.size();
        std::string item = list.substr(start, end - start);
        const size_t first = item.find_first_not_of(" \t");
        item = first == std::string::npos ? std::string()
                                          : item.substr(first, item.find_last_not_of(" \t") - first + 1);
        if (!item.empty()) board.assign(item);
        start = end + 1;
    }
}

gint bound(uint32_t v) {
    return static_cast<gint>(std::min<uint32_t>(v, G_MAXINT));
}

// A width or height range from the parameter's description, with its step.
void setRange(GstStructure* s, const char* field, const pellucid::Board& board, const char* name) {
    const RegisterInfo& r = board.describe(name);
    if (r.format != REG_FORMAT_UINT) return;
    GValue range = G_VALUE_INIT;
    g_value_init(&range, GST_TYPE_INT_RANGE);
    const gint from = std::max(bound(r.u.uiReg.from), 1), to = bound(r.u.uiReg.to);
    const gint step = std::max(bound(r.u.uiReg.steps), 1);
    // A range needs its bounds on the steps and two values at least.
    if (to - from < step || from % step != 0 || to % step != 0) return;
    gst_value_set_int_range_step(&range, from, to, step);
    gst_structure_take_value(s, field, &range);
}

// Pictures a second where the board's trigger paces them: the generator's rate over the image
// selector's period; 0 (variable) where only the camera knows.
double pictureRate(pellucid::Board& board) {
    const double pulses = pellucid::generatorPulseRate(board);
    const uint32_t period = pellucid::readUint(board, FG_IMG_SELECT_PERIOD, "FG_IMG_SELECT_PERIOD");
    return pulses > 0 ? pulses / std::max(period, 1u) : 0;
}

// The board's caps: its format first, width and height over their ranges so that downstream can
// choose them, the frame rate as the trigger makes it.
GstCaps* boardCaps(pellucid::Board& board) {
    const pellucid::FrameFormat f = pellucid::frameFormat(board);
    gint num = 0, den = 1;
    const double rate = pictureRate(board);
    if (rate > 0) gst_util_double_to_fraction(rate, &num, &den);
    GstStructure* s =
        gst_structure_new("video/x-raw", "width", G_TYPE_INT, bound(f.width), "height", G_TYPE_INT,
                          bound(f.height), "framerate", GST_TYPE_FRACTION, num, den, nullptr);
    setRange(s, "width", board, "FG_WIDTH");
    setRange(s, "height", board, "FG_HEIGHT");
    GValue formats = G_VALUE_INIT, v = G_VALUE_INIT;
    gst_value_list_init(&formats, 2);
    g_value_init(&v, G_TYPE_STRING);
    for (int bytes : {f.bytesPerChannel, 3 - f.bytesPerChannel}) {
        g_value_set_string(&v, gst_video_format_to_string(videoFormat(bytes)));
        gst_value_list_append_value(&formats, &v);
    }
    g_value_unset(&v);
    gst_structure_take_value(s, "format", &formats);
    return gst_caps_new_full(s, nullptr);
}

// Minimum latency: a picture is stamped with the start of its exposure and is in hand one
// picture period later. Unknown without a frame rate.
GstClockTime latency(const Session& s) {
    return GST_CLOCK_TIME_IS_VALID(s.period) ? s.period : 0;
}

void endAcquisition(Session& s) {
    if (s.acquisition) {
        try {
            s.acquisition->stop();
        } catch (const ToolError& e) {
            GST_WARNING("%s", e.what());
        }
        s.acquisition.reset();
    }
    s.toRunningTime.reset();
    s.discont = true;
}

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec* pspec) {
    GstPellucidSrc* src = self(object);
    std::lock_guard guard(*src->mutex);
    Settings& s = *src->settings;
    switch (id) {
        case PROP_BOARD:
            s.board = g_value_get_uint(value);
            break;
        case PROP_CONFIG:
            s.config = g_value_get_string(value) != nullptr ? g_value_get_string(value) : "";
            break;
        case PROP_SET:
            s.set = g_value_get_string(value) != nullptr ? g_value_get_string(value) : "";
            break;
        case PROP_WORKING_CONFIG:
            s.workingConfig = g_value_get_boolean(value);
            break;
        case PROP_TIMEOUT:
            s.timeout = g_value_get_uint(value);
            break;
        case PROP_BUFFERS:
            s.buffers = g_value_get_uint(value);
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec* pspec) {
    GstPellucidSrc* src = self(object);
    std::lock_guard guard(*src->mutex);
    const Settings& s = *src->settings;
    switch (id) {
        case PROP_BOARD:
            g_value_set_uint(value, s.board);
            break;
        case PROP_CONFIG:
            g_value_set_string(value, s.config.empty() ? nullptr : s.config.c_str());
            break;
        case PROP_SET:
            g_value_set_string(value, s.set.empty() ? nullptr : s.set.c_str());
            break;
        case PROP_WORKING_CONFIG:
            g_value_set_boolean(value, s.workingConfig);
            break;
        case PROP_TIMEOUT:
            g_value_set_uint(value, s.timeout);
            break;
        case PROP_BUFFERS:
            g_value_set_uint(value, s.buffers);
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
}

// Lock, open, then the settings in the tool's order: the working configuration, the file, the
// assignments. Any failure leaves nothing open.
gboolean start(GstBaseSrc* base) {
    GstPellucidSrc* src = self(base);
    std::lock_guard guard(*src->mutex);
    const Settings& settings = *src->settings;
    auto session = std::make_unique<Session>();
    try {
        session->lock = std::make_unique<pellucid::BoardLock>(settings.board);
    } catch (const ToolError& e) {
        POST_ERROR(src, BUSY, e);
        return FALSE;
    }
    try {
        session->board = std::make_unique<pellucid::Board>(settings.board);
    } catch (const ToolError& e) {
        POST_ERROR(src, OPEN_READ, e);
        return FALSE;
    }
    pellucid::Board& board = *session->board;
    try {
        if (settings.workingConfig) pellucid::WorkingConfiguration(settings.board).applyTo(board);
        if (!settings.config.empty()) board.loadConfig(settings.config);
        applyAssignments(board, settings.set);
        session->format = pellucid::frameFormat(board);
    } catch (const ToolError& e) {
        POST_ERROR(src, SETTINGS, e);
        return FALSE;
    }
    try {
        const std::string black = pellucid::zeroLookupTable(board);
        if (!black.empty()) GST_ELEMENT_WARNING(src, RESOURCE, SETTINGS, ("%s", black.c_str()), (nullptr));
    } catch (const ToolError& e) {
        GST_WARNING_OBJECT(src, "%s", e.what());
    }
    session->buffers = settings.buffers;
    delete src->session;
    src->session = session.release();
    src->restart = false;
    return TRUE;
}

gboolean stop(GstBaseSrc* base) {
    GstPellucidSrc* src = self(base);
    std::lock_guard guard(*src->mutex);
    if (src->session != nullptr) endAcquisition(*src->session);
    delete src->session;  // the board closes before its lock goes
    src->session = nullptr;
    return TRUE;
}

GstCaps* getCaps(GstBaseSrc* base, GstCaps* filter) {
    GstPellucidSrc* src = self(base);
    GstCaps* caps = nullptr;
    {
        std::lock_guard guard(*src->mutex);
        if (src->session != nullptr) {
            try {
                caps = boardCaps(*src->session->board);
            } catch (const ToolError& e) {
                GST_WARNING_OBJECT(src, "%s", e.what());
            }
        }
    }
    if (caps == nullptr) caps = gst_pad_get_pad_template_caps(GST_BASE_SRC_PAD(base));
    if (filter != nullptr) {
        GstCaps* both = gst_caps_intersect_full(filter, caps, GST_CAPS_INTERSECT_FIRST);
        gst_caps_unref(caps);
        caps = both;
    }
    return caps;
}

// Where downstream leaves a choice, the board's current settings win.
GstCaps* fixate(GstBaseSrc* base, GstCaps* caps) {
    GstPellucidSrc* src = self(base);
    caps = gst_caps_make_writable(caps);
    {
        std::lock_guard guard(*src->mutex);
        if (src->session != nullptr) {
            const pellucid::FrameFormat& f = src->session->format;
            for (guint i = 0; i < gst_caps_get_size(caps); ++i) {
                GstStructure* s = gst_caps_get_structure(caps, i);
                gst_structure_fixate_field_nearest_int(s, "width", bound(f.width));
                gst_structure_fixate_field_nearest_int(s, "height", bound(f.height));
                gst_structure_fixate_field_string(s, "format",
                                                  gst_video_format_to_string(videoFormat(f.bytesPerChannel)));
            }
        }
    }
    return GST_BASE_SRC_CLASS(gst_pellucid_src_parent_class)->fixate(base, caps);
}

// Downstream's choice goes to the board; what the board reads back afterwards must agree.
gboolean setCaps(GstBaseSrc* base, GstCaps* caps) {
    GstPellucidSrc* src = self(base);
    GstVideoInfo info;
    if (!gst_video_info_from_caps(&info, caps)) {
        GST_ELEMENT_ERROR(src, CORE, NEGOTIATION, ("caps %" GST_PTR_FORMAT " are not raw video", caps),
                          (nullptr));
        return FALSE;
    }
    const bool deep = GST_VIDEO_INFO_FORMAT(&info) == GST_VIDEO_FORMAT_RGBA64_LE;
    std::unique_lock guard(*src->mutex);
    if (src->session == nullptr) return FALSE;
    Session& s = *src->session;
    pellucid::Board& board = *s.board;
    endAcquisition(s);
    try {
        const auto assign = [&](const char* name, const std::string& value) {
            board.setFromText(board.describe(name), value);
        };
        assign("FG_FORMAT", deep ? kCol48 : kCol24);
        assign("FG_WIDTH", std::to_string(GST_VIDEO_INFO_WIDTH(&info)));
        assign("FG_HEIGHT", std::to_string(GST_VIDEO_INFO_HEIGHT(&info)));
        s.format = pellucid::frameFormat(board);
        if (s.format.width != static_cast<uint32_t>(GST_VIDEO_INFO_WIDTH(&info)) ||
            s.format.height != static_cast<uint32_t>(GST_VIDEO_INFO_HEIGHT(&info)) ||
            (s.format.bytesPerChannel == 2) != deep)
            throw ToolError("the board delivers " + std::to_string(s.format.width) + " x " +
                            std::to_string(s.format.height) + " pictures, not the caps' " +
                            std::to_string(GST_VIDEO_INFO_WIDTH(&info)) + " x " +
                            std::to_string(GST_VIDEO_INFO_HEIGHT(&info)));
        s.lowAligned = deep && pellucid::readUint(board, FG_BITALIGNMENT, "FG_BITALIGNMENT") == kRightAligned;
        GST_INFO_OBJECT(src, "board set to FG_WIDTH=%s FG_HEIGHT=%s FG_FORMAT=%s",
                        board.valueText(board.describe("FG_WIDTH")).c_str(),
                        board.valueText(board.describe("FG_HEIGHT")).c_str(),
                        board.valueText(board.describe("FG_FORMAT")).c_str());
    } catch (const ToolError& e) {
        POST_ERROR(src, SETTINGS, e);
        return FALSE;
    }
    s.info = info;
    const GstClockTime old = latency(s);
    s.period =
        GST_VIDEO_INFO_FPS_N(&info) > 0
            ? gst_util_uint64_scale_int(GST_SECOND, GST_VIDEO_INFO_FPS_D(&info), GST_VIDEO_INFO_FPS_N(&info))
            : GST_CLOCK_TIME_NONE;
    const bool changed = latency(s) != old;
    guard.unlock();
    if (changed) gst_element_post_message(GST_ELEMENT(src), gst_message_new_latency(GST_OBJECT(src)));
    return TRUE;
}

gboolean query(GstBaseSrc* base, GstQuery* q) {
    GstPellucidSrc* src = self(base);
    if (GST_QUERY_TYPE(q) != GST_QUERY_LATENCY)
        return GST_BASE_SRC_CLASS(gst_pellucid_src_parent_class)->query(base, q);
    std::lock_guard guard(*src->mutex);
    if (src->session == nullptr) return FALSE;
    const Session& s = *src->session;
    // A picture waits at most in the ring of buffers before it is dropped.
    const GstClockTime min = latency(s);
    const GstClockTime max = min > 0 ? min * static_cast<guint64>(s.buffers) : GST_CLOCK_TIME_NONE;
    gst_query_set_latency(q, TRUE, min, max);
    return TRUE;
}

gboolean unlock(GstBaseSrc* base) {
    self(base)->flushing = true;
    return TRUE;
}

gboolean unlockStop(GstBaseSrc* base) {
    self(base)->flushing = false;
    return TRUE;
}

// Copies a picture into the video frame's layout: RGB rows padded to the stride, or 16-bit RGB
// with alpha, 12 low-aligned bits scaled up to the full range.
void copyPicture(const Session& s, const unsigned char* pixels, GstVideoFrame& frame) {
    auto* dst = static_cast<unsigned char*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0));
    const size_t stride = GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0);
    const size_t row = size_t{s.format.width} * 3 * s.format.bytesPerChannel;
    for (uint32_t y = 0; y < s.format.height; ++y, dst += stride, pixels += row) {
        if (s.format.bytesPerChannel == 1) {
            std::memcpy(dst, pixels, row);
            continue;
        }
        for (uint32_t x = 0; x < s.format.width; ++x) {
            const unsigned char* in = pixels + size_t{x} * 6;
            unsigned char* o = dst + size_t{x} * 8;
            for (int c = 0; c < 3; ++c) {
                auto v = static_cast<uint16_t>(in[2 * c] | in[2 * c + 1] << 8);
                if (s.lowAligned) v = static_cast<uint16_t>(v << 4 | v >> 8);
                o[2 * c] = static_cast<unsigned char>(v);
                o[2 * c + 1] = static_cast<unsigned char>(v >> 8);
            }
            o[6] = o[7] = 0xff;
        }
    }
}

// The running time of a picture: its exposure start in board time, moved onto the pipeline's
// clock at the first picture so that it lies one picture period before it was in hand. Without
// an exposure start, the time it was in hand.
GstClockTime timestamp(GstPellucidSrc* src, Session& s, long exposureNs) {
    GstClock* clock = gst_element_get_clock(GST_ELEMENT(src));
    if (clock == nullptr) return GST_CLOCK_TIME_NONE;
    const GstClockTime now = gst_clock_get_time(clock);
    gst_object_unref(clock);
    const GstClockTime base = gst_element_get_base_time(GST_ELEMENT(src));
    const gint64 running = now > base ? static_cast<gint64>(now - base) : 0;
    gint64 pts = running - static_cast<gint64>(latency(s));
    if (exposureNs >= 0) {
        if (!s.toRunningTime) s.toRunningTime = pts - exposureNs;
        // Never later than the picture was in hand, should the board's clock run fast.
        s.toRunningTime = std::min(*s.toRunningTime, pts - exposureNs);
        pts = exposureNs + *s.toRunningTime;
    }
    GstClockTime t = pts > 0 ? static_cast<GstClockTime>(pts) : 0;
    if (GST_CLOCK_TIME_IS_VALID(s.lastPts) && t <= s.lastPts) t = s.lastPts + 1;
    s.lastPts = t;
    return t;
}

// Waits for the next picture without holding the lock, so that unlock (a flush, a stop) ends the
// wait within a slice. The picture number, 0 when flushing, or an SDK error.
long waitForPicture(GstPellucidSrc* src, std::unique_lock<std::mutex>& guard, Clock::time_point deadline) {
    Session& s = *src->session;
    for (;;) {
        const long last = Fg_getLastPicNumberEx(s.board->handle(), 0, s.acquisition->memory());
        if (last < 0 || last >= s.next) return last;
        if (src->flushing) return 0;
        if (Clock::now() >= deadline) return FG_TIMEOUT_ERR;
        guard.unlock();
        std::this_thread::sleep_for(kSlice);
        guard.lock();
        if (src->session != &s || !s.acquisition) return 0;
    }
}

GstFlowReturn create(GstPushSrc* push, GstBuffer** out) {
    GstPellucidSrc* src = self(push);
    std::unique_lock guard(*src->mutex);
    if (src->session == nullptr) return GST_FLOW_FLUSHING;
    Session& s = *src->session;
    const unsigned timeout = src->settings->timeout;
    try {
        // Pictures taken while paused are stale for a live stream: start afresh.
        if (src->restart.exchange(false)) endAcquisition(s);
        if (!s.acquisition) {
            s.acquisition =
                std::make_unique<pellucid::Acquisition>(s.board->handle(), s.format.bytes(), s.buffers);
            s.acquisition->start(GRAB_INFINITE);
            s.next = 1;
        }
    } catch (const ToolError& e) {
        POST_ERROR(src, FAILED, e);
        return GST_FLOW_ERROR;
    }
    Fg_Struct* fg = s.board->handle();
    dma_mem* memory = s.acquisition->memory();
    const auto deadline = Clock::now() + std::chrono::seconds(timeout);
    for (;;) {
        const long last = waitForPicture(src, guard, deadline);
        if (last == 0) return GST_FLOW_FLUSHING;
        if (last < 0) {
            const ToolError e("no picture " + std::to_string(s.next) + " within " + std::to_string(timeout) +
                                  " s; is the camera simulator on (FG_GEN_ENABLE) and the trigger active "
                                  "(FG_TRIGGERSTATE)?",
                              static_cast<int>(last));
            POST_ERROR(src, READ, e);
            return GST_FLOW_ERROR;
        }
        // Picture n + buffers overwrites picture n once n + buffers - 1 is complete: of the pictures
        // in hand, the oldest that stays intact for one more picture is taken.
        const long picture = std::max(s.next, last - s.buffers + 2);
        if (picture > s.next) {
            GST_DEBUG_OBJECT(src, "pictures %ld..%ld overwritten before they were read", s.next, picture - 1);
            s.discont = true;
        }
        s.next = picture + 1;
        Fg_getLastPicNumberBlockingEx(fg, picture, 0, 0, memory);
        const auto* pixels = static_cast<const unsigned char*>(Fg_getImagePtrEx(fg, picture, 0, memory));
        if (pixels == nullptr) {
            s.discont = true;
            continue;
        }
        long exposure = -1;
        if constexpr (pellucid::sdk::kStatusExposureStartNs >= 0)
            exposure = Fg_getStatusEx(fg, pellucid::sdk::kStatusExposureStartNs, picture, 0, memory);

        GstBuffer* buffer = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&s.info), nullptr);
        GstVideoFrame frame;
        if (buffer == nullptr || !gst_video_frame_map(&frame, &s.info, buffer, GST_MAP_WRITE)) {
            if (buffer != nullptr) gst_buffer_unref(buffer);
            GST_ELEMENT_ERROR(
                src, RESOURCE, NO_SPACE_LEFT,
                ("cannot allocate a buffer of %" G_GSIZE_FORMAT " bytes", GST_VIDEO_INFO_SIZE(&s.info)),
                (nullptr));
            return GST_FLOW_ERROR;
        }
        copyPicture(s, pixels, frame);
        gst_video_frame_unmap(&frame);
        // A copy made while the buffer was being reused could mix two pictures.
        if (Fg_getLastPicNumberEx(fg, 0, memory) >= picture + s.buffers - 1) {
            GST_DEBUG_OBJECT(src, "picture %ld overwritten while it was copied", picture);
            gst_buffer_unref(buffer);
            s.discont = true;
            continue;
        }
        GST_BUFFER_PTS(buffer) = timestamp(src, s, exposure);
        GST_BUFFER_DURATION(buffer) = s.period;
        GST_BUFFER_OFFSET(buffer) = s.offset++;
        GST_BUFFER_OFFSET_END(buffer) = s.offset;
        if (s.discont) GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DISCONT);
        s.discont = false;
        *out = buffer;
        return GST_FLOW_OK;
    }
}

GstStateChangeReturn changeState(GstElement* element, GstStateChange transition) {
    if (transition == GST_STATE_CHANGE_PLAYING_TO_PAUSED) self(element)->restart = true;
    return GST_ELEMENT_CLASS(gst_pellucid_src_parent_class)->change_state(element, transition);
}

void finalize(GObject* object) {
    GstPellucidSrc* src = self(object);
    delete src->session;
    delete src->settings;
    delete src->mutex;
    G_OBJECT_CLASS(gst_pellucid_src_parent_class)->finalize(object);
}

}  // namespace

static void gst_pellucid_src_class_init(GstPellucidSrcClass* klass) {
    GObjectClass* object = G_OBJECT_CLASS(klass);
    object->set_property = setProperty;
    object->get_property = getProperty;
    object->finalize = finalize;
    const auto flags =
        static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY);
    g_object_class_install_property(
        object, PROP_BOARD, g_param_spec_uint("board", "Board", "Index of the board", 0, G_MAXINT, 0, flags));
    g_object_class_install_property(
        object, PROP_CONFIG,
        g_param_spec_string("config", "Configuration file",
                            "Configuration file (.mcf) loaded when the element starts", nullptr, flags));
    g_object_class_install_property(
        object, PROP_SET,
        g_param_spec_string("set", "Parameter settings",
                            "NAME=VALUE assignments separated by commas, applied after the configuration "
                            "file (names and values as the pellucid tool takes them)",
                            nullptr, flags));
    g_object_class_install_property(
        object, PROP_WORKING_CONFIG,
        g_param_spec_boolean("working-config", "Working configuration",
                             "Start from the board's working configuration that 'pellucid set' and "
                             "'pellucid load' leave, instead of the applet's defaults",
                             TRUE, flags));
    g_object_class_install_property(
        object, PROP_TIMEOUT,
        g_param_spec_uint("timeout", "Timeout", "Seconds to wait for a picture before failing", 1, 3600, 5,
                          flags));
    g_object_class_install_property(
        object, PROP_BUFFERS,
        g_param_spec_uint("buffers", "Buffers", "DMA buffers in the board's ring", 2, 1024, 8, flags));

    GstElementClass* element = GST_ELEMENT_CLASS(klass);
    gst_element_class_set_static_metadata(element, "Pellucid board source", "Source/Video/Hardware",
                                          "Pictures of a Pellucid frame-grabber board", "Pellucid project");
    gst_element_class_add_static_pad_template(element, &srcTemplate);
    element->change_state = changeState;

    GstBaseSrcClass* base = GST_BASE_SRC_CLASS(klass);
    base->start = start;
    base->stop = stop;
    base->get_caps = getCaps;
    base->fixate = fixate;
    base->set_caps = setCaps;
    base->query = query;
    base->unlock = unlock;
    base->unlock_stop = unlockStop;
    GST_PUSH_SRC_CLASS(klass)->create = create;
}

static void gst_pellucid_src_init(GstPellucidSrc* src) {
    src->settings = new Settings;
    src->session = nullptr;
    src->mutex = new std::mutex;
    new (&src->flushing) std::atomic<bool>(false);
    new (&src->restart) std::atomic<bool>(false);
    gst_base_src_set_live(GST_BASE_SRC(src), TRUE);
    gst_base_src_set_format(GST_BASE_SRC(src), GST_FORMAT_TIME);
}

static gboolean pluginInit(GstPlugin* plugin) {
    GST_DEBUG_CATEGORY_INIT(pellucid_debug, "pellucidsrc", 0, "Pellucid board source");
    return gst_element_register(plugin, "pellucidsrc", GST_RANK_NONE, gst_pellucid_src_get_type());
}

// The plugin descriptor names its source package through this macro.
#define PACKAGE "pellucid"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, pellucid, "Pellucid frame-grabber board", pluginInit,
                  PELLUCID_VERSION, "Proprietary", "Pellucid", "Pellucid project")
