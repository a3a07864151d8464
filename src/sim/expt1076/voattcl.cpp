// Attribute declarations and specifications. The declarations follow the
// group's attribute list; the specifications follow the pins, and name the
// pin as the symbol has it, translated, subscript and all, also for a pin
// whose port another pin of its vector stands for. NET_ALIAS names a net,
// not a property of the port, and is never written.
#include "voattcl.h"

#include <cstring>
#include <string>
#include <unordered_map>

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
    int state = 0;  // 0: not fetched yet; 1: split; 2: formatted at each use
    std::string before, after;

    // Appends the template `number` with `arg` to `out`.
    void append(int number, const char* arg, std::string& out) {
        if (state == 0) {
            const char *b, *a;
            state = ktMsgAroundString(msgFp, number, &b, &a) ? 1 : 2;
            if (state == 1) before = b, after = a;
        }
        if (state == 1)
            out.append(before).append(arg).append(after);
        else
            out.append(ktMsgStatic(msgFp, number, arg));
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
    // Pin attribute names are pooled, so the pins share them by address.
    struct Known {
        const voalist* node = nullptr;
        std::string head;
    };
    std::unordered_map<const char*, Known> known;
    // The port text of the last pin name, made again only when the name changes.
    std::string portName, portText;
    bool portMade = false;
    Around portTemplate, endTemplate;
    bool any = false;
    std::string line;
    for (const iwspin* pin = symbol ? symbol->pins : nullptr; pin; pin = pin->next) {
        // The pin's name is translated at its first attribute; the others
        // take what translating it again gives.
        const char* stored = nullptr;
        for (const iwatt* a = pin->attributes; a; a = a->next) {
            auto [at, fresh] = known.try_emplace(a->name);
            Known& k = at->second;
            if (fresh) {
                // The translator's own attributes, and those ATTRIBUTE NULL
                // drops, are not in the list.
                const voalist* node = vofindal(a->name, group->alist);
                if (node && writable(node->attr)) {
                    k.node = node;
                    k.head = ktMsgStatic(msgFp, VOM_ATTSPEC, node->attr->vhdlname);
                }
            }
            if (!k.node) continue;
            const char* port = stored;
            if (!port) {
                port = votr(pin->name ? pin->name : "");
                stored = votrstored();
            }
            if (!portMade || portName != port) {
                portName = port;
                portText.clear();
                portTemplate.append(VOM_ATTPORT, portName.c_str(), portText);
                portMade = true;
            }
            // The three templates make one line, which goes out as one token.
            const char* value = voeval(a->value, k.node->attr->type);
            line.assign(k.head).append(portText);
            endTemplate.append(VOM_ATTSPECEND, value, line);
            votok(VOTOK_NLAFTER, line.c_str());
            any = true;
        }
    }
    if (any) votok(VOTOK_NLAFTER, "");
}
