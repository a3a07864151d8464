// Starting the tool session of a master database.
#include "rdb_itc.h"

int rdbInitItc(rdbMaster* master) {
    if (!master || master->session) return rdbStatOK;
    const int tool = master->users ? master->users->facility : 0;
    if (tool <= 1 || !(master->flags & rdbMasterFlagITC)) return rdbStatOK;
    return rdbStatFAILURE;
}

int rdbSendObjOpened(rdbObject* object) {
    rdbMaster* m = object && object->cls ? object->cls->master : nullptr;
    if (!m || !m->session) return rdbStatOK;
    return rdbStatFAILURE;
}
