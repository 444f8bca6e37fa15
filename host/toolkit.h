// The host toolkit: pools, journals, transcoding, extensions, and the launched client process.
#pragma once

#include <cstddef>

#include "types.h"

using TKChar = char32_t;  // a toolkit character: 4 bytes
using TKFlags = unsigned;
using TKMemSize = std::size_t;
using TKMemPtr = void*;
using TKStatus = int;

// Every toolkit object starts with this member; `destroy` releases the whole object.
struct TKGeneric {
  void* oven;
  const char* name;
  TKStatus (*destroy)(TKGeneric* object);
};

struct TKPoolCreateParms_S {
  TKFlags flags;
  TKMemSize initial;
  void* numaNode;
};

struct TKPool_S {
  TKGeneric generic;
  // Returns `size` bytes that live until the pool is destroyed, or null.
  void* (*memAlloc)(TKPool_S* pool, TKMemSize size, TKFlags flags);
};
using TKPoolh = TKPool_S*;

struct TKIO_S;
struct TKLocale_S;
using TKIOh = TKIO_S*;
using TKLocaleh = TKLocale_S*;

struct TKJnlCreateParms_S {
  TKIOh store;
  std::size_t preAlc;
  TKFlags flags;
  TKLocaleh locale;
  void* RParm1;
  void* RParm2;
  TKPoolh pool;
  TKFlags flags2;
  void* pad1;
  void* pad2;
  void* pad3;
};

// Where a session's services note what happens.
struct TKJnl_S {
  TKGeneric generic;
};
using TKJnlh = TKJnl_S*;

struct TKExtension_S {
  TKGeneric generic;
};
using TKExtensionh = TKExtension_S*;

// Turns session text into toolkit characters. Bytes that are no text survive the way there and
// back.
struct TKNLSPipeline_S {
  TKGeneric generic;
  // Converts `length` bytes at `source` into at most `capacity` bytes at `target`; stores the
  // number of bytes written. 0 on success.
  TKStatus (*Transcode)(TKNLSPipeline_S* pipeline, const void* source, TKMemSize length,
                        void* target, TKMemSize capacity, TKMemSize* written, TKFlags flags);
};
using TKNLSPipelineh = TKNLSPipeline_S*;

constexpr int kPipelineToToolkit = 62;

struct TKNLS_S {
  TKGeneric generic;
  // Returns a pipeline for `request`, or null. The caller destroys it.
  TKNLSPipelineh (*pipelineCreate)(TKNLS_S* nls, int request, TKFlags flags, TKJnlh journal);
};
using TKNLSh = TKNLS_S*;

struct TK_HNDL_S {
  // Each returns a new object that the caller destroys, or null.
  TKPoolh (*poolCreate)(TK_HNDL_S* tk, const TKPoolCreateParms_S* parms, void* parent,
                        const char* name);
  TKJnlh (*jnlCreate)(TK_HNDL_S* tk, const TKJnlCreateParms_S* parms, void* parent,
                      const char* name);
  TKExtensionh (*loadExtension)(TK_HNDL_S* tk, const TKChar* name, long length, TKJnlh journal);
  TKNLSh tknls;
};
using TKHndlp = TK_HNDL_S*;

// The launched client. Results are 0 or a code of codes.h.
struct LSProcess_S {
  TKGeneric generic;  // destroy: closes what is open, ends and reaps the client
  TKChar* username;
  long lUsernamel;
  TKMemPtr pUserContext;

  long (*getpid)(LSProcess_S* process);
  TKMemPtr (*getusercontext)(LSProcess_S* process);
  TKStatus (*kill)(LSProcess_S* process, TKJnlh journal);
  TKStatus (*getrc)(LSProcess_S* process, int* exit_status, TKJnlh journal);
  // Delivers at most `capacity` bytes of output and stores their number. Mode 1 waits until the
  // answer to the last command is complete and hands out its start; mode 0 hands out what is
  // there. kEndOfOutput once the client's output has ended, kNoAnswerInTime past the limit that
  // the host set; any other code means that the command was broken off.
  TKStatus (*getoutput)(LSProcess_S* process, int mode, char* buffer, TKMemSize capacity,
                        TKMemSize* length, TKJnlh journal);
  // Sends one command: a line with its line feed. Drops what is undelivered of earlier answers.
  // Not 0: nothing was sent.
  TKStatus (*sendinput)(LSProcess_S* process, const char* text, TKMemSize length, TKJnlh journal);
  // Closes the client's standard streams, which ends it.
  TKStatus (*closestdio)(LSProcess_S* process);
  void (*unused1)();
  void (*unused2)();
  // Waits until output can be read: 0, or kNoAnswerInTime.
  TKStatus (*outputwait)(LSProcess_S* process, long milliseconds, TKJnlh journal);
  TKStatus (*suspend)(LSProcess_S* process, TKJnlh journal);
  TKStatus (*resume)(LSProcess_S* process, TKJnlh journal);
};
using LSProcessp = LSProcess_S*;

struct TKNameValue_S {
  TKChar* name;
  long lNameLen;
  TKChar* value;
  long lValueLen;
};
using TKNameValue = TKNameValue_S;
using TKNameValuep = TKNameValue_S*;

enum tkels_callback_type : int { tkels_action_none = 2 };
using TKELSProcessCallback = void (*)(LSProcess_S* process, TKMemPtr context);

struct LSLaunchParams_S {
  void* pSecTok;
  TKChar* szCommand;  // command line, zero-terminated
  int nEnvironment;
  TKNameValuep nvEnvironment;
  int nParams;
  TKNameValuep nvParams;
  void* handleList;
  int nHandles;
  TKMemPtr pContext;
  tkels_callback_type exitAction;
  TKELSProcessCallback fpCallback;
  TKFlags flags;
  void* unused1;
  void* unused2;
};

// The extension "tkels": launches a client.
struct TKELS_S {
  TKExtension_S extension;
  // Starts the command line as a child process with its standard streams connected to the new
  // process object, which the caller destroys. Not 0: nothing was started, `*process` is null.
  TKStatus (*launch)(TKExtensionh extension, const LSLaunchParams_S* parms, const char* name,
                     TKJnlh journal, LSProcessp* process);
};
