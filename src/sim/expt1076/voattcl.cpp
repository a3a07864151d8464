// Attribute declarations and specifications. The declarations follow the
// group's attribute list; the specifications follow the pins, and name the
// pin as the symbol has it, translated, subscript and all, also for a pin
// whose port another pin of its vector stands for. NET_ALIAS names a net,
// not a property of the port, and is never written.
#include "voattcl.h"

#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "entgen_msg.h"
#include "iwobj.h"
#include "ktmsg.h"
#include "ktstr.h"
#include "vgstruct.h"
#include "voeval.h"
#include "vomain.h"
#include "votok.h"
#include "votr.h"

namespace {
// An attribute of the list that has a VHDL form to write.
bool writable(const voattr* a) {
    return a && a->vhdlname && ktStrIcmp(a->vhdlname, "NET_ALIAS") != 0;
}
// A template of one string, put together here when it is literal text
// around a plain %s: the same text as formatting it, at the cost of two
// copies. Fetched at its first use, where formatting it would fetch it.
struct Around {
    explicit Around(int n) : number(n) {}
    int number;
    int state = 0;  // 0: not fetched yet; 1: split; 2: formatted at each use
    std::string before, after;

    // The template filled with `arg`: in front of `arg` and behind it, or
    // (formatted) the whole text in `before`.
    void fill(const char* arg) {
        if (state == 0) {
            const char *b, *a;
            state = ktMsgAroundString(msgFp, number, &b, &a) ? 1 : 2;
            if (state == 1) before = b, after = a;
        }
        if (state == 2) before = ktMsgStatic(msgFp, number, arg);
    }
    bool split() const { return state == 1; }
};

// A line of pieces copied one behind the other, in a buffer kept for the
// symbol's lines.
struct Line {
    std::string buf;
    size_t n = 0;
    void start() { n = 0; }
    void add(const char* text, size_t length) {
        if (n + length + 1 > buf.size()) buf.resize(2 * (n + length + 1));
        std::memcpy(buf.data() + n, text, length);
        n += length;
    }
    void add(const std::string& text) { add(text.data(), text.size()); }
    const char* text() {
        buf[n] = '\0';
        return buf.data();
    }
};
}  // namespace

void voatt_decl(vogroup* group, int mask) {
    bool any = false;
    for (const voalist* n = group ? group->alist : nullptr; n; n = n->next) {
        if (!(n->flags & mask) || !writable(n->attr)) continue;
        votokmsg(VOTOK_NLAFTER, VOM_PINATTDECL, n->attr->vhdlname, n->attr->type);
        any = true;
    }
    if (any) votok(VOTOK_NLAFTER, "");
}

void voatt_spec(vogroup* group, int) {
    const iwsym* symbol = group && group->grp ? group->grp->symbols : nullptr;
    // What each attribute name of the symbol gives, found at its first use:
    // its writable list entry (or none) and the head of its specification.
    // Pin attribute names are pooled, so the pins share them by address; a
    // symbol has few, looked for along the list, and a map once there are
    // many.
    struct Known {
        const char* name;
        const voalist* node;
        std::string head;
    };
    constexpr size_t kWalked = 16;
    std::vector<Known> known;
    std::unordered_map<const char*, size_t> many;
    auto lookUp = [&](const char* name) -> Known& {
        if (known.size() <= kWalked) {
            for (Known& k : known)
                if (k.name == name) return k;
        } else if (auto it = many.find(name); it != many.end()) {
            return known[it->second];
        }
        // The translator's own attributes, and those ATTRIBUTE NULL drops,
        // are not in the list.
        const voalist* node = vofindal(name, group->alist);
        if (!node || !writable(node->attr)) node = nullptr;
        known.push_back(Known{name, node, node ? ktMsgStatic(msgFp, VOM_ATTSPEC, node->attr->vhdlname) : ""});
        if (known.size() == kWalked + 1)
            for (size_t i = 0; i < known.size(); ++i) many.emplace(known[i].name, i);
        else if (known.size() > kWalked + 1)
            many.emplace(name, known.size() - 1);
        return known.back();
    };
    // The port text of the last pin name, made again only when the name changes.
    std::string portName, portText;
    bool portMade = false;
    Around portTemplate(VOM_ATTPORT), endTemplate(VOM_ATTSPECEND);
    bool any = false;
    Line line;
    for (const iwspin* pin = symbol ? symbol->pins : nullptr; pin; pin = pin->next) {
        // The pin's name is translated at its first attribute; the others
        // take what translating it again gives.
        const char* stored = nullptr;
        for (const iwatt* a = pin->attributes; a; a = a->next) {
            const Known& k = lookUp(a->name);
            if (!k.node) continue;
            const char* port = stored;
            if (!port) {
                port = votr(pin->name ? pin->name : "");
                stored = votrstored();
            }
            if (!portMade || std::strcmp(portName.c_str(), port) != 0) {
                portName = port;
                portTemplate.fill(portName.c_str());
                portText = portTemplate.before;
                if (portTemplate.split()) portText.append(portName).append(portTemplate.after);
                portMade = true;
            }
            // The three templates make one line, which goes out as one token.
            const char* value = voeval(a->value, k.node->attr->type);
            line.start();
            line.add(k.head);
            line.add(portText);
            endTemplate.fill(value);
            line.add(endTemplate.before);
            if (endTemplate.split()) {
                line.add(value, std::strlen(value));
                line.add(endTemplate.after);
            }
            votok(VOTOK_NLAFTER, line.text());
            any = true;
        }
    }
    if (any) votok(VOTOK_NLAFTER, "");
}
