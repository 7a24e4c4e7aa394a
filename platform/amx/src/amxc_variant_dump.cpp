// Human-readable dump of a variant tree.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <syslog.h>
#include <unistd.h>

#include "amxc_priv.h"

namespace {

void indent(amxc::TextBuf& out, int depth) {
    for(int i = 0; i < depth * 4; i++) {
        out.append_char(' ');
    }
}

void dump_value(amxc::TextBuf& out, const amxc_var_t* var, int depth);

void dump_list(amxc::TextBuf& out, const amxc_var_t* var, int depth) {
    out.append("[\n");
    bool first = true;
    for(amxc_var_t* child = amxc_var_get_first(var); child != nullptr; child = amxc_var_get_next(child)) {
        if(!first) {
            out.append(",\n");
        }
        first = false;
        indent(out, depth + 1);
        dump_value(out, child, depth + 1);
    }
    if(!first) {
        out.append_char('\n');
    }
    indent(out, depth);
    out.append_char(']');
}

// Keys are printed sorted, whatever the table's own order.
void dump_table(amxc::TextBuf& out, const amxc_var_t* var, int depth) {
    out.append("{\n");
    amxc_array_t* keys = amxc_htable_get_sorted_keys(&var->data.vm);
    size_t n = keys != nullptr ? var->data.vm.items : 0;
    for(size_t i = 0; i < n; i++) {
        const char* key = static_cast<const char*>(keys->buffer[i].data);
        indent(out, depth + 1);
        out.append(key);
        out.append(" = ");
        dump_value(out, amxc_var_get_key(var, key, AMXC_VAR_FLAG_DEFAULT), depth + 1);
        out.append(i + 1 < n ? ",\n" : "\n");
    }
    amxc_array_delete(&keys, nullptr);
    indent(out, depth);
    out.append_char('}');
}

void dump_value(amxc::TextBuf& out, const amxc_var_t* var, int depth) {
    if(var == nullptr) {
        out.append("NULL");
        return;
    }
    switch(var->type_id) {
        case AMXC_VAR_ID_NULL: out.append("<NULL>"); break;
        case AMXC_VAR_ID_CSTRING:
        case AMXC_VAR_ID_CSV_STRING:
        case AMXC_VAR_ID_SSV_STRING:
            out.append_char('"');
            out.append(var->data.s != nullptr ? var->data.s : "");
            out.append_char('"');
            break;
        case AMXC_VAR_ID_LIST: dump_list(out, var, depth); break;
        case AMXC_VAR_ID_HTABLE: dump_table(out, var, depth); break;
        default: {
            char* text = amxc::to_text(var);
            out.append(text != nullptr ? text : "");
            free(text);
            break;
        }
    }
}

char* dump_text(const amxc_var_t* var) {
    amxc::TextBuf out;
    dump_value(out, var, 0);
    out.append_char('\n');
    return out.release();
}

} // namespace

extern "C" {

int amxc_var_dump(const amxc_var_t* const var, int fd) {
    char* text = dump_text(var);
    if(text == nullptr) {
        return -1;
    }
    size_t len = strlen(text);
    size_t done = 0;
    int rc = 0;
    while(done < len) {
        ssize_t n = write(fd, text + done, len - done);
        if(n < 0 && errno == EINTR) {
            continue;
        }
        if(n <= 0) {
            rc = -1;
            break;
        }
        done += static_cast<size_t>(n);
    }
    free(text);
    return rc;
}

int amxc_var_dump_stream(const amxc_var_t* const var, FILE* stream) {
    if(stream == nullptr) {
        return -1;
    }
    char* text = dump_text(var);
    if(text == nullptr) {
        return -1;
    }
    int rc = fputs(text, stream) >= 0 ? 0 : -1;
    free(text);
    return rc;
}

int amxc_var_log(const amxc_var_t* const var) {
    char* text = dump_text(var);
    if(text == nullptr) {
        return -1;
    }
    syslog(LOG_DAEMON | LOG_DEBUG, "%s", text);
    free(text);
    return 0;
}

} // extern "C"
