#include "Common/KrCommon/KrComn_ExpatLibrary.h"

#include <cstddef>
#include <iterator>

namespace KrCommon::Library {

namespace {

// A pointer to a function, as the walk over the names stores it.
template <class FunctionPointer>
void** Slot(FunctionPointer& function) {
    return reinterpret_cast<void**>(&function);
}

}  // namespace

Expat::~Expat() = default;

bool Expat::Bind(bool load, std::uint32_t* error) {
    const Entry entries[] = {
        {"XML_ParserCreate", Slot(m_pParserCreate)},
        {"XML_ParserCreateNS", Slot(m_pParserCreateNS)},
        {"XML_ParserCreate_MM", Slot(m_pParserCreateMM)},
        {"XML_ParserReset", Slot(m_pParserReset)},
        {"XML_SetElementHandler", Slot(m_pSetElementHandler)},
        {"XML_SetStartElementHandler", Slot(m_pSetStartElementHandler)},
        {"XML_SetEndElementHandler", Slot(m_pSetEndElementHandler)},
        {"XML_SetCharacterDataHandler", Slot(m_pSetCharacterDataHandler)},
        {"XML_SetProcessingInstructionHandler", Slot(m_pSetProcessingInstructionHandler)},
        {"XML_SetCommentHandler", Slot(m_pSetCommentHandler)},
        {"XML_SetDefaultHandler", Slot(m_pSetDefaultHandler)},
        {"XML_SetUnparsedEntityDeclHandler", Slot(m_pSetUnparsedEntityDeclHandler)},
        {"XML_SetNotationDeclHandler", Slot(m_pSetNotationDeclHandler)},
        {"XML_SetNamespaceDeclHandler", Slot(m_pSetNamespaceDeclHandler)},
        {"XML_SetStartNamespaceDeclHandler", Slot(m_pSetStartNamespaceDeclHandler)},
        {"XML_SetEndNamespaceDeclHandler", Slot(m_pSetEndNamespaceDeclHandler)},
        {"XML_SetNotStandaloneHandler", Slot(m_pSetNotStandaloneHandler)},
        {"XML_SetExternalEntityRefHandler", Slot(m_pSetExternalEntityRefHandler)},
        {"XML_SetExternalEntityRefHandlerArg", Slot(m_pSetExternalEntityRefHandlerArg)},
        {"XML_SetUserData", Slot(m_pSetUserData)},
        {"XML_SetEncoding", Slot(m_pSetEncoding)},
        {"XML_Parse", Slot(m_pParse)},
        {"XML_GetBuffer", Slot(m_pGetBuffer)},
        {"XML_ParseBuffer", Slot(m_pParseBuffer)},
        {"XML_StopParser", Slot(m_pStopParser)},
        {"XML_ResumeParser", Slot(m_pResumeParser)},
        {"XML_GetParsingStatus", Slot(m_pGetParsingStatus)},
        {"XML_GetErrorCode", Slot(m_pGetErrorCode)},
        {"XML_GetCurrentLineNumber", Slot(m_pGetCurrentLineNumber)},
        {"XML_GetCurrentColumnNumber", Slot(m_pGetCurrentColumnNumber)},
        {"XML_GetCurrentByteIndex", Slot(m_pGetCurrentByteIndex)},
        {"XML_GetCurrentByteCount", Slot(m_pGetCurrentByteCount)},
        {"XML_ParserFree", Slot(m_pParserFree)},
        {"XML_ErrorString", Slot(m_pErrorString)},
        {"XML_ExpatVersion", Slot(m_pExpatVersion)},
        {"XML_ExpatVersionInfo", Slot(m_pExpatVersionInfo)},
        {"XML_GetFeatureList", Slot(m_pGetFeatureList)},
    };
    return load ? BindAll(entries, std::size(entries), error)
                : UnbindAll(entries, std::size(entries));
}

}  // namespace KrCommon::Library
