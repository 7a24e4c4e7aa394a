// SPDX-License-Identifier: BSD-2-Clause-Patent
// Shared helpers of the module: the chip handle guard, caller-site tracing and
// the text forms of addresses and MoCA versions.
#include "mxl_frame.h"

namespace {

const char* base_name(const char* path) {
    const char* slash = strrchr(path, '/');
    return (slash != nullptr) ? slash + 1 : path;
}

const char* level_mark(int level) {
    switch(level) {
        case TRACE_LEVEL_ERROR: return "x";
        case TRACE_LEVEL_WARNING: return "!";
        case TRACE_LEVEL_NOTICE: return "n";
        case TRACE_LEVEL_APP_INFO: return "I";
        case TRACE_LEVEL_INFO: return "i";
        default: return "d";
    }
}

} // namespace

void mxl_trace_at(int level, const char* func, const char* file, int line, const char* fmt, ...) {
    char msg[512];
    va_list ap;
    va_start(ap, fmt);
    vsnprintf(msg, sizeof(msg), fmt, ap);
    va_end(ap);
    const char* mark = level_mark(level);
    file = base_name(file);
    if(level <= TRACE_LEVEL_WARNING) {
        noloTrace(level, MXL_FRAME_HEAD "%s" MXL_FRAME_TAIL, "", MXL_ZONE, "", "", mark, "", "", msg, "", "", func,
                  file, line, "");
    } else {
        noloTraceZ(level, MXL_ZONE, MXL_FRAME_HEAD "%s" MXL_FRAME_TAIL, "", MXL_ZONE, "", "", mark, "", "", msg, "", "",
                   func, file, line, "");
    }
}

mxl_chip_t::mxl_chip_t(const char* ifname) {
    mxl_copy(name, ifname);
}

mxl_chip_t::~mxl_chip_t() {
    close();
}

int32_t mxl_chip_t::open(bool quiet, const char* site_func, const char* site_file, int site_line) {
    attempted = true;
    int32_t rc = ClnkLib_OpenByName(&handle, name);
    opened = (rc == 0);
    if(!opened && !quiet) {
        mxl_trace_at(TRACE_LEVEL_ERROR, site_func, site_file, site_line, "%s: ClnkLib_OpenByName failed with rc=%d",
                     name, rc);
    }
    return rc;
}

void mxl_chip_t::close() {
    if(opened || (attempted && close_after_failed_open)) {
        ClnkLib_Close(&handle);
    }
    opened = false;
    attempted = false;
}

int32_t mxl_chip_t::check(int32_t rc, const char* op, const char* site_func, const char* site_file, int site_line) {
    if(rc != 0) {
        mxl_trace_at(TRACE_LEVEL_ERROR, site_func, site_file, site_line, "%s: %s failed with rc=%d", name, op, rc);
    }
    return rc;
}

int32_t mxl_chip_open_local(mxl_chip_t& chip, ClnkLib_LocalInfo_t* local, const char* site_func, const char* site_file,
                            int site_line) {
    int32_t rc = chip.open(false, site_func, site_file, site_line);
    if(rc == 0) {
        rc = chip.check(ClnkLib_GetLocalInfo(chip.h(), local), "ClnkLib_GetLocalInfo", site_func, site_file, site_line);
    }
    return rc;
}

void mxl_mac_text(char (&dst)[MOCA_MAC_TEXT_LEN], uint32_t hi, uint32_t lo) {
    mxl_format(dst, "%02x:%02x:%02x:%02x:%02x:%02x", hi >> 24, (hi >> 16) & 0xFF, (hi >> 8) & 0xFF, hi & 0xFF, lo >> 24,
               (lo >> 16) & 0xFF);
}

void mxl_version_text(char (&dst)[16], uint32_t moca_ver) {
    mxl_format(dst, "%d.%d", static_cast<int>((moca_ver >> 4) & 0xF), static_cast<int>(moca_ver & 0xF));
}

void mxl_highest_version_text(char (&dst)[16], const ClnkLib_NetInfo_t& net) {
    if((net.mocaVer == MOCA_VERSION_11) && ((net.protoSupport & MOCA_PROTO_VERSION_BITS) == MOCA_PROTO_MOCA12)) {
        mxl_copy(dst, "1.2");
    } else {
        mxl_version_text(dst, net.mocaVer);
    }
}

int32_t mxl_refill_start(const mxl_moca_iface_t* moca_if, mxl_chip_t& chip, ClnkLib_LocalInfo_t* local,
                         const char* site_func, const char* site_file, int site_line) {
    if(moca_if == nullptr) {
        mxl_trace_at(TRACE_LEVEL_ERROR, site_func, site_file, site_line, "moca_if is NULL");
        return -1;
    }
    mxl_copy(chip.name, moca_if->name);
    return mxl_chip_open_local(chip, local, site_func, site_file, site_line);
}
