// The entries of the method table, in its order.
#pragma once

#include "host/method.h"

rctype yxsasgn(char* logicalname, rebid reb, char* devicetype, char* physicalname,
               int physicalnamelength, ptr hostbag);
rctype yxsdasg(char* logicalname, rebid reb);
rctype yxsval(char* logicalname);
rctype yxsinfo(ptr filepointer, char* logicalname, rebid reb, int flags, ptr hostptr,
               WX_INFOPARM* infoparm);
rctype yxsopn(ptr* filepointer, char* logicalname, rebid reb, WX_OPENPARM* openparm);
wrcode yxsread(ptr filepointer, ptr* recordpointer, long* datalength, tchar* cc);
wrcode yxswrit(ptr filepointer, ptr recordpointer, long datalength, tchar cc);
rctype yxsclos(ptr filepointer);
rctype yxsmcls(ptr filepointer);
rctype yxspars(char* logicalname, rebid reb, char* accessmethod, int env, ptr sourcetrack,
               int* scanned, ptr* hostbag);
rctype yxsamvc(ptr filepointer, WX_AMVEC** amvecptr);
rctype yxshbfr(char* logicalname, rebid reb, ptr hostbag);
rctype yxsnsup(...);

// The read routine of a record-I/O vector for stream input: `*datalength` bytes, or as many as the
// NBYTE variable says, or a record's length. Stores the number delivered.
wrcode yxsrds(ptr filepointer, ptr* recordpointer, long* datalength, tchar* cc);
