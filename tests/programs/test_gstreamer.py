"""Reads what stamp-encoder wrote with GStreamer, whose parsers hand each picture's time to what stands behind them."""

import cffi
import pytest
from running import HANG, rows

FFI = cffi.FFI()
FFI.cdef("""
    typedef struct { char mini_object[64]; void *pool; uint64_t pts; } GstBuffer;
    typedef struct { struct { int flags; void *info; } meta; char tc; } GstVideoTimeCodeMeta;
    void gst_init(void *, void *);
    void *gst_parse_launch(const char *, void *);
    void *gst_bin_get_by_name(void *, const char *);
    int gst_element_set_state(void *, int);
    void *gst_app_sink_try_pull_sample(void *, uint64_t);
    GstBuffer *gst_sample_get_buffer(void *);
    void *gst_buffer_get_meta(GstBuffer *, size_t);
    size_t gst_video_time_code_meta_api_get_type(void);
    size_t gst_video_sei_user_data_unregistered_meta_api_get_type(void);
    int gst_video_sei_user_data_unregistered_parse_precision_time_stamp(void *, uint8_t *, uint64_t *);
    char *gst_video_time_code_to_string(void *);
    void gst_mini_object_unref(void *);
    void g_free(void *);
""")
LIBRARIES = [FFI.dlopen(f"libgst{name}-1.0.so.0", FFI.RTLD_NOW | FFI.RTLD_GLOBAL) for name in ("app", "video")]
GST = FFI.dlopen(None)
STATE_NULL, STATE_PLAYING = 1, 4


def time_of(buffer):
    """The PTS, the ST 0604 time stamp and the timecode of a picture, as they stand in the table."""
    stamp = GST.gst_buffer_get_meta(buffer, GST.gst_video_sei_user_data_unregistered_meta_api_get_type())
    meta = GST.gst_buffer_get_meta(buffer, GST.gst_video_time_code_meta_api_get_type())
    status, utc, stamped, timecode = FFI.new("uint8_t *"), FFI.new("uint64_t *"), ("", ""), ""
    if stamp and GST.gst_video_sei_user_data_unregistered_parse_precision_time_stamp(stamp, status, utc):
        stamped = str(utc[0]), f"0x{status[0]:02X}"
    if meta:
        text = GST.gst_video_time_code_to_string(FFI.addressof(FFI.cast("GstVideoTimeCodeMeta *", meta), "tc"))
        timecode = FFI.string(text).decode()
        GST.g_free(text)
    return round(buffer.pts * 9 / 1e5), *stamped, timecode


def read(file):
    """The pictures of a transport stream in coding order, with PTS from the first one's on."""
    GST.gst_init(FFI.NULL, FFI.NULL)
    line = f"filesrc location={file} ! tsdemux ! h264parse ! appsink name=sink sync=false"
    pipeline = GST.gst_parse_launch(line.encode(), FFI.NULL)
    sink, found = GST.gst_bin_get_by_name(pipeline, b"sink"), []
    GST.gst_element_set_state(pipeline, STATE_PLAYING)
    while sample := GST.gst_app_sink_try_pull_sample(sink, HANG * 10**9):
        found.append(time_of(GST.gst_sample_get_buffer(sample)))
        GST.gst_mini_object_unref(sample)
    GST.gst_element_set_state(pipeline, STATE_NULL)
    return [(pts - found[0][0], *time) for pts, *time in found]


@pytest.mark.parametrize("rate, options", [
    pytest.param("29.97", [], id="drop_frame"),
    pytest.param("50", ["--copy"], id="copied"),
])
def test_every_picture_of_h264_has_the_time_of_the_table(stamp_encoder, code, rate, options):
    """Over the end of a minute, with pictures that have none in between."""
    stamp_encoder("--generate", "in.ts", "--rate", rate, "--duration", 4, "--drop", "1:1-2", "--start-utc",
                  "2026-01-01T10:00:58Z").ended(0)
    code("in.ts", *options).ended(0)
    first = int(rows()[0]["pts"])
    assert {row["utc_us"] != "" for row in rows()} == {True, False}
    assert read("out.ts") == [(int(row["pts"]) - first, row["utc_us"], row["status"], row["stream_timecode"])
                              for row in rows()]
