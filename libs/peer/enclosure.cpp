#include "enclosure.h"

#include "errors.h"

Configuration_t fetchConfiguration(SesClient_t& client) {
    const SesReply_t reply = client.receiveDiagnostic(1);
    requireGood(reply, "the request for page 1");
    Decoded_t<Configuration_t> decoded = decodeConfigurationPage(reply.payload);
    if (!decoded.value) {
        throw badAnswerError("the adapter's configuration makes no sense: " + decoded.error);
    }
    return *decoded.value;
}

Enclosure_t fetchEnclosure(SesClient_t& client) {
    std::string error;
    for (int attempt = 0; attempt < 2; ++attempt) {
        Configuration_t configuration = fetchConfiguration(client);
        const SesReply_t reply = client.receiveDiagnostic(2);
        requireGood(reply, "the request for page 2");
        Decoded_t<EnclosureStatus_t> decoded = decodeStatusPage(reply.payload, configuration);
        if (decoded.value) {
            return {.configuration = std::move(configuration), .status = std::move(*decoded.value)};
        }
        error = decoded.error;
    }
    throw badAnswerError("the adapter's status makes no sense: " + error);
}
