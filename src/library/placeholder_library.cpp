// placeholder until the layer has code
