// Handlers of the external functions, one per function (a handler may serve several ids and then
// branches on the id it receives). Each sets its value or its error text in the result and
// answers 0 to the host.
#ifndef ZERB_PLUGIN_HANDLERS_H
#define ZERB_PLUGIN_HANDLERS_H

#include "plugin/fmx.h"

using ZbHandler = fmx::errcode (*)(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                   fmx::Data &result);

fmx::errcode ZbFile7_DoVersion(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                               fmx::Data &result);
fmx::errcode ZbFile7_DoControl(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                               fmx::Data &result);
fmx::errcode ZbFile7_DoConvertFromFMText_ToFMText(short functionId, const fmx::ExprEnv &env,
                                                  const fmx::DataVect &parameters, fmx::Data &result);
fmx::errcode ZbFile7_DoAsciiValueToText(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                        fmx::Data &result);
fmx::errcode ZbFile7_DoFileSpecToFullPath(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                          fmx::Data &result);
fmx::errcode ZbFile7_DoFullPathToFileSpec(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                          fmx::Data &result);
fmx::errcode ZbFile7_DoFindFolder(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                  fmx::Data &result);
fmx::errcode ZbFile7_DoGetPathTo(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                 fmx::Data &result);
fmx::errcode ZbFile7_DoSetDefaultFileSpec(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                          fmx::Data &result);
fmx::errcode ZbFile7_DoExists(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                              fmx::Data &result);
fmx::errcode ZbFile7_DoGetFileSize(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                   fmx::Data &result);
fmx::errcode ZbFile7_DoGetDateCreatedModifiedAccessed(short functionId, const fmx::ExprEnv &env,
                                                      const fmx::DataVect &parameters, fmx::Data &result);
fmx::errcode ZbFile7_DoGetFileAttribute(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                        fmx::Data &result);
fmx::errcode ZbFile7_DoGetFileCreatorOrType(short functionId, const fmx::ExprEnv &env,
                                            const fmx::DataVect &parameters, fmx::Data &result);
fmx::errcode ZbFile7_DoSetFileAttribute(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                        fmx::Data &result);
fmx::errcode ZbFile7_DoSetTimestampCreatedOrModified(short functionId, const fmx::ExprEnv &env,
                                                     const fmx::DataVect &parameters, fmx::Data &result);
fmx::errcode ZbFile7_DoSetDefaultCreator(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                         fmx::Data &result);
fmx::errcode ZbFile7_DoSetDefaultType(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                      fmx::Data &result);
fmx::errcode ZbFile7_DoCreateFile(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                  fmx::Data &result);
fmx::errcode ZbFile7_DoCreateFolder(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                    fmx::Data &result);
fmx::errcode ZbFile7_DoDeleteFile(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                  fmx::Data &result);
fmx::errcode ZbFile7_DoDeleteFolder(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                    fmx::Data &result);
fmx::errcode ZbFile7_DoCopyFile_DoMoveFile(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                           fmx::Data &result);
fmx::errcode ZbFile7_DoCopyFolder_DoMoveFolder(short functionId, const fmx::ExprEnv &env,
                                               const fmx::DataVect &parameters, fmx::Data &result);
fmx::errcode ZbFile7_DoGetContents(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                   fmx::Data &result);
fmx::errcode ZbFile7_DoSetContents(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                   fmx::Data &result);
fmx::errcode ZbFile7_DoAppendContents(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                      fmx::Data &result);
fmx::errcode ZbFile7_DoSubstitute(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                  fmx::Data &result);
fmx::errcode ZbFile7_DoListFolder(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                  fmx::Data &result);
fmx::errcode ZbFile7_DoSearch(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                              fmx::Data &result);
fmx::errcode ZbFile7_DoListDisks(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                 fmx::Data &result);
fmx::errcode ZbFile7_DoDiskInfo(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                fmx::Data &result);
fmx::errcode ZbFile7_DoMountDisk(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                 fmx::Data &result);
fmx::errcode ZbFile7_DoUnmountDisk(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                   fmx::Data &result);
fmx::errcode ZbFile7_DoMetaData(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                fmx::Data &result);
fmx::errcode ZbFile7_DoSetMetaData(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                   fmx::Data &result);
fmx::errcode ZbFile7_DoLaunch(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                              fmx::Data &result);
fmx::errcode ZbFile7_DoExecuteShell(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                              fmx::Data &result);
fmx::errcode ZbFile7_DoSelectFileDialog(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                              fmx::Data &result);
fmx::errcode ZbFile7_DoSelectFolderDialog(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                              fmx::Data &result);
fmx::errcode ZbFile7_DoSaveFileDialog(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                              fmx::Data &result);
fmx::errcode ZbFile7_DoContentsDialog(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                              fmx::Data &result);
fmx::errcode ZbFile7_DoCreateThumbnail(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                              fmx::Data &result);
fmx::errcode ZbFile7_DoReferenceToClip(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                              fmx::Data &result);
// Stands in for every function whose work this build does not have: answers "$$-4221".
fmx::errcode ZbFile7_DoNotAvailable(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                    fmx::Data &result);

#endif
