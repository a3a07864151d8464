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
    const iwspin* portPin = nullptr;
    const char* portStored = nullptr;
    bool any = false;
    char small[512];
    std::string big;  // a line too long for `small`
    for (const iwspin* pin = symbol ? symbol->pins : nullptr; pin; pin = pin->next) {
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
            // The pin's name is translated at its first attribute; the
            // others take what translating it again gives.
            const char* port;
            if (pin != portPin) {
                port = votr(pin->name ? pin->name : "");
                portStored = votrstored();
                portPin = pin;
            } else {
                port = portStored;
            }
            if (!portMade || portName != port) {
                portName = port;
                portText = ktMsgStatic(msgFp, VOM_ATTPORT, port);
                portMade = true;
            }
            // The three templates make one line, which goes out as one token.
            const char* end =
                ktMsgStatic(msgFp, VOM_ATTSPECEND, voeval(a->value, k.node->attr->type));
            const size_t endLength = std::strlen(end);
            const size_t length = k.head.size() + portText.size() + endLength;
            char* text = length < sizeof small ? small : (big.resize(length), big.data());
            std::memcpy(text, k.head.data(), k.head.size());
            std::memcpy(text + k.head.size(), portText.data(), portText.size());
            std::memcpy(text + k.head.size() + portText.size(), end, endLength + 1);
            votok(VOTOK_NLAFTER, text);
            any = true;
        }
    }
    if (any) votok(VOTOK_NLAFTER, "");
}
