// The entries of the method table, in its order.
#pragma once

#include "host/method.h"

rctype yxsasgn(char* logicalname, rebid reb, char* devicetype, char* physicalname,
               int physicalnamelength, ptr hostbag);
rctype yxsdasg(char* logicalname, rebid reb);
rctype yxsexl(char* logicalname, rebid reb);
rctype yxsexp(char* logicalname, rebid reb);
rctype yxsval(char* logicalname);
rctype yxsinfo(ptr filepointer, char* logicalname, rebid reb, int flags, ptr hostptr,
               WX_INFOPARM* infoparm);
rctype yxsins(ptr filepointer, W_INFSTR** infostrp);
rctype yxsinf(ptr filepointer, W_INFSTR* infostr);
rctype yxsopn(ptr* filepointer, char* logicalname, rebid reb, WX_OPENPARM* openparm);
wrcode yxsread(ptr filepointer, ptr* recordpointer, long* datalength, tchar* cc);
wrcode yxswrit(ptr filepointer, ptr recordpointer, long datalength, tchar cc);
rctype yxsclos(ptr filepointer);
rctype yxsdcls(ptr dirptr);
rctype yxsdins(ptr filepointer, W_INFSTR** infostrp);
rctype yxsdinf(ptr filepointer, W_INFSTR* infostr);
rctype yxsdnxt(ptr* listptr, ptr dirptr, tchar* memname, int* memlen, char* filetype, int flag,
               WX_INFOPARM* infoparm);
rctype yxsdopn(ptr* dirptr, char* logicalname, rebid reb);
rctype yxsmcls(ptr filepointer);
rctype yxsmexp(ptr dirptr, char* memname, int memlen, char* memtype);
rctype yxsmopn(ptr* fileptr, ptr dirptr, tchar* memname, int memnamel, char* ftype,
               WX_OPENPARM* openparm);
rctype yxspars(char* logicalname, rebid reb, char* accessmethod, int env, ptr sourcetrack,
               int* scanned, ptr* hostbag);
rctype yxsamvc(ptr filepointer, WX_AMVEC** amvecptr);
rctype yxshbfr(char* logicalname, rebid reb, ptr hostbag);
rctype yxsnsup(...);

// The read routine of a record-I/O vector for stream input: `*datalength` bytes, or as many as the
// NBYTE variable says, or a record's length. Stores the number delivered.
wrcode yxsrds(ptr filepointer, ptr* recordpointer, long* datalength, tchar* cc);
