using System.Collections.Generic;
using DWSIM.Interfaces.Enums.GraphicObjects;

namespace DWSIM.Interfaces
{
    public interface IGraphicObject
    {
        string Name { get; set; }
        string Tag { get; set; }
        float X { get; set; }
        float Y { get; set; }
        int Width { get; set; }
        int Height { get; set; }
        ObjectType ObjectType { get; set; }
        bool IsEnergyStream { get; set; }
        bool Calculated { get; set; }
        List<IConnectionPoint> InputConnectors { get; set; }
        List<IConnectionPoint> OutputConnectors { get; set; }
        List<IConnectionPoint> SpecialConnectors { get; set; }
        IConnectionPoint EnergyConnector { get; set; }
        ISimulationObject Owner { get; set; }
        void PositionConnectors();
    }

    public interface IConnectionPoint
    {
        bool IsAttached { get; set; }
        IConnectorGraphicObject AttachedConnector { get; set; }
        Enums.GraphicObjects.ConType Type { get; set; }
        Enums.GraphicObjects.ConDir Direction { get; set; }
        string ConnectorName { get; set; }
        int X { get; set; }
        int Y { get; set; }
        bool IsEnergyConnector { get; set; }
        bool Active { get; set; }
    }

    public interface IConnectorGraphicObject
    {
        IGraphicObject AttachedFrom { get; set; }
        IGraphicObject AttachedTo { get; set; }
        int AttachedFromConnectorIndex { get; set; }
        int AttachedToConnectorIndex { get; set; }
        bool AttachedFromEnergy { get; set; }
        bool AttachedToEnergy { get; set; }
        bool AttachedFromInput { get; set; }
        bool AttachedToOutput { get; set; }
        bool Straight { get; set; }
    }
}
