// Builds the records that describe an open document to the module, and its ports.
#include "host/host_state.h"

namespace host {

namespace {

class RecordBuilder {
  public:
    RecordBuilder(Host& host, Document& document, DocumentRecords& records)
        : host_(host), document_(document), records_(records) {}

    // Adds a read port, and a write port if the channel belongs to the target.
    ReadChannelDesc* Describe(Channel& channel, std::int16_t type, const char* name, bool isTarget) {
        auto record = std::make_unique<ReadChannelDesc>();
        *record = {};
        record->maxVersion = kRecordVersion;
        record->port = MakePort(channel, name, false);
        record->bounds = document_.bounds;
        record->depth = DepthOf(document_, channel);
        record->tileSize = {HeightOf(document_.bounds), WidthOf(document_.bounds)};
        record->tileOrigin = {document_.bounds.top, document_.bounds.left};
        record->target = isTarget;
        record->shown = 1;
        record->channelType = type;
        record->name = name;
        if (isTarget && channel.hasWritePort) record->writePort = MakePort(channel, name, true);
        records_.channels.push_back(std::move(record));
        return records_.channels.back().get();
    }

    ReadChannelDesc* Describe(std::optional<Channel>& channel, std::int16_t type, const char* name,
                              bool isTarget) {
        return channel ? Describe(*channel, type, name, isTarget) : nullptr;
    }

    ReadChannelDesc* DescribeColour(Layer& layer, bool isTarget) {
        static constexpr const char* kNames[] = {"Red", "Green", "Blue", "Spot"};
        ReadChannelDesc* first = nullptr;
        ReadChannelDesc** link = &first;
        for (std::size_t i = 0; i < layer.colour.size(); ++i) {
            const auto type = static_cast<std::int16_t>(i < 3 ? kChannelRed + i : 0);
            *link = Describe(layer.colour[i], type, kNames[i < 3 ? i : 3], isTarget);
            link = &(*link)->next;
        }
        return first;
    }

    // The prefix of the following ports' names.
    void SetOwner(std::string owner) { owner_ = std::move(owner); }

    ReadLayerDesc* DescribeLayers() {
        ReadLayerDesc* bottom = nullptr;
        ReadLayerDesc** link = &bottom;
        for (Layer& layer : document_.layers) {
            auto record = std::make_unique<ReadLayerDesc>();
            *record = {};
            record->maxVersion = kRecordVersion;
            SetOwner("layer " + std::to_string(records_.layers.size() + 1));
            record->compositeChannelsList = DescribeColour(layer, false);
            record->transparency = Describe(layer.transparency, kChannelTransparency, "Transparency", false);
            record->layerMask = Describe(layer.mask, kChannelLayerMask, "Layer Mask", false);
            record->sheetID = static_cast<std::uint32_t>(records_.layers.size() + 1);
            record->name = layer.name.c_str();
            record->isPixelBased = 1;
            *link = record.get();
            link = &record->next;
            records_.layers.push_back(std::move(record));
        }
        return bottom;
    }

  private:
    static constexpr std::int32_t kRecordVersion = 2;

    PIChannelPort MakePort(Channel& channel, const char* name, bool forWriting) {
        auto port =
            std::make_unique<Port>(Port{++host_.portsMade, owner_ + ' ' + name, &channel, forWriting});
        const auto key = reinterpret_cast<PIChannelPort>(port.get());
        records_.ports.emplace(key, std::move(port));
        return key;
    }

    Host& host_;
    Document& document_;
    DocumentRecords& records_;
    std::string owner_ = "target";
};

}  // namespace

std::unique_ptr<DocumentRecords> DescribeDocument(Host& host, Document& document) {
    auto records = std::make_unique<DocumentRecords>();
    RecordBuilder maker(host, document, *records);
    ReadImageDocumentDesc& record = records->document;
    record.maxVersion = 2;
    record.imageMode = document.depth == 8 ? plugInModeRGBColor : plugInModeRGB48;
    record.depth = document.depth;
    record.bounds = document.bounds;
    record.hResolution = record.vResolution = static_cast<Fixed>(document.resolution * 65536);
    for (int i = 0; i < 256; ++i) {
        record.redLUT[i] = record.greenLUT[i] = record.blueLUT[i] = static_cast<std::uint8_t>(i);
    }

    const bool flatTarget = document.targetLayer == kTargetFlat;
    Layer& target =
        flatTarget ? *document.flat : document.layers[static_cast<std::size_t>(document.targetLayer)];
    record.targetCompositeChannels = maker.DescribeColour(target, true);
    record.targetTransparency =
        maker.Describe(target.transparency, kChannelTransparency, "Transparency", true);
    record.targetLayerMask = maker.Describe(target.mask, kChannelLayerMask, "Layer Mask", true);
    if (document.flat) {
        maker.SetOwner("flat");
        record.mergedCompositeChannels = maker.DescribeColour(*document.flat, false);
        record.mergedTransparency =
            maker.Describe(document.flat->transparency, kChannelTransparency, "Transparency", false);
    }
    maker.SetOwner("document");
    ReadChannelDesc** link = &record.alphaChannels;
    for (Channel& alpha : document.alphaChannels) {
        *link = maker.Describe(alpha, 0, "Alpha", false);
        link = &(*link)->next;
    }
    record.selection = maker.Describe(document.selection, kChannelSelection, "Selection", false);
    record.layersDescriptor = maker.DescribeLayers();
    return records;
}

}  // namespace host
