// FindProtobuf looks for this name.
