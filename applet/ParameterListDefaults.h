// Companion of ParameterList.h: before the list it gives every row macro the caller left undefined
// an empty expansion; after the list it undefines all of them again.
#ifndef PARAM_LIST_OPEN
#define PARAM_LIST_OPEN
#ifndef PARAM_GROUP
#define PARAM_GROUP(key, parent, name)
#endif
#ifndef PARAM_UINT
#define PARAM_UINT(N, group, from, to, step, access, rangeFlag, unit, set, get, help)
#endif
#ifndef PARAM_DOUBLE
#define PARAM_DOUBLE(N, group, from, to, step, access, rangeFlag, unit, set, get, help)
#endif
#ifndef PARAM_ENUM
#define PARAM_ENUM(N, group, table, access, rangeFlag, unit, set, get, help)
#endif
#ifndef PARAM_STRING
#define PARAM_STRING(N, group, pattern, access, rangeFlag, unit, set, get, help)
#endif
#ifndef PARAM_FIELD
#define PARAM_FIELD(N, group, entries, from, to, access, rangeFlag, unit, set, get, help)
#endif
#else
#undef PARAM_LIST_OPEN
#undef PARAM_GROUP
#undef PARAM_UINT
#undef PARAM_DOUBLE
#undef PARAM_ENUM
#undef PARAM_STRING
#undef PARAM_FIELD
#endif
