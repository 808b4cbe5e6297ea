#include "enclosure.h"

#include "tool_error.h"

Configuration fetchConfiguration(SesClient& client) {
    const SesReply reply = client.receiveDiagnostic(1);
    requireGood(reply, "the request for page 1");
    Decoded<Configuration> decoded = decodeConfigurationPage(reply.payload);
    if (!decoded.value) {
        throw badAnswerError("the adapter's configuration makes no sense: " + decoded.error);
    }
    return *decoded.value;
}

Enclosure fetchEnclosure(SesClient& client) {
    std::string error;
    for (int attempt = 0; attempt < 2; ++attempt) {
        Configuration configuration = fetchConfiguration(client);
        const SesReply reply = client.receiveDiagnostic(2);
        requireGood(reply, "the request for page 2");
        Decoded<EnclosureStatus> decoded = decodeStatusPage(reply.payload, configuration);
        if (decoded.value) {
            return {std::move(configuration), std::move(*decoded.value)};
        }
        error = decoded.error;
    }
    throw badAnswerError("the adapter's status makes no sense: " + error);
}
