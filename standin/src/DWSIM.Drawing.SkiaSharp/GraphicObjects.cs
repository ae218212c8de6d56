// Flowsheet drawing objects: position, tag and the connection ports the solver walks.
using System;
using System.Collections.Generic;
using System.Reflection;
using System.Runtime.CompilerServices;
using DWSIM.Interfaces;
using DWSIM.Interfaces.Enums.GraphicObjects;

[assembly: AssemblyVersion("8.8.2.0")]
[assembly: InternalsVisibleTo("DWSIM.FlowsheetBase")]

namespace DWSIM.Drawing.SkiaSharp.GraphicObjects
{
    public class ConnectionPoint : IConnectionPoint
    {
        private bool _attached;

        public ConnectionPoint()
        {
            Type = ConType.ConEn;   // the enum's zero value, as for a fresh DWSIM port
            Active = true;
            ConnectorName = "";
        }

        // Only a port with a live connector at both ends counts as attached.
        public bool IsAttached
        {
            get { return _attached && AttachedConnector != null && AttachedConnector.AttachedFrom != null && AttachedConnector.AttachedTo != null; }
            set { _attached = value; }
        }

        public IConnectorGraphicObject AttachedConnector { get; set; }
        public ConType Type { get; set; }
        public ConDir Direction { get; set; }
        public string ConnectorName { get; set; }
        public int X { get; set; }
        public int Y { get; set; }
        public bool IsEnergyConnector { get; set; }
        public bool Active { get; set; }
    }

    public class ConnectorGraphic : IConnectorGraphicObject
    {
        public ConnectorGraphic()
        {
            AttachedFromConnectorIndex = -1;
            AttachedToConnectorIndex = -1;
            Straight = true;
        }

        public IGraphicObject AttachedFrom { get; set; }
        public IGraphicObject AttachedTo { get; set; }
        public int AttachedFromConnectorIndex { get; set; }
        public int AttachedToConnectorIndex { get; set; }
        public bool AttachedFromEnergy { get; set; }
        public bool AttachedToEnergy { get; set; }
        public bool AttachedFromInput { get; set; }
        public bool AttachedToOutput { get; set; }
        public bool Straight { get; set; }
    }

    public abstract class GraphicObject : IGraphicObject
    {
        protected GraphicObject()
        {
            InputConnectors = new List<IConnectionPoint>();
            OutputConnectors = new List<IConnectionPoint>();
            SpecialConnectors = new List<IConnectionPoint>();
            EnergyConnector = new ConnectionPoint { IsEnergyConnector = true, Active = false };
            Width = 40; Height = 40;
            Tag = ""; Name = "";
        }

        private string _tag;

        public string Name { get; set; }

        public string Tag
        {
            get { return _tag; }
            set
            {
                var old = _tag;
                _tag = value;
                if (TagChanged != null && old != value) TagChanged(old, value);
            }
        }

        // Set by the flowsheet that holds the object, to keep its tag index current.
        internal Action<string, string> TagChanged;

        public float X { get; set; }
        public float Y { get; set; }
        public int Width { get; set; }
        public int Height { get; set; }
        public ObjectType ObjectType { get; set; }
        public bool IsEnergyStream { get; set; }
        public bool Calculated { get; set; }
        public List<IConnectionPoint> InputConnectors { get; set; }
        public List<IConnectionPoint> OutputConnectors { get; set; }
        public List<IConnectionPoint> SpecialConnectors { get; set; }
        public IConnectionPoint EnergyConnector { get; set; }
        public ISimulationObject Owner { get; set; }

        // Creates the ports on first call, then lays them out along the object's edges.
        public void PositionConnectors()
        {
            if (InputConnectors.Count == 0 && OutputConnectors.Count == 0) CreateConnectors();
            Place(InputConnectors, (int)X, ConDir.Right);
            Place(OutputConnectors, (int)X + Width, ConDir.Right);
            EnergyConnector.X = (int)X + Width / 2;
            EnergyConnector.Y = (int)Y + Height;
            EnergyConnector.Direction = ConDir.Down;
        }

        private void Place(List<IConnectionPoint> ports, int x, ConDir dir)
        {
            for (int i = 0; i < ports.Count; i++)
            {
                ports[i].X = x;
                ports[i].Y = (int)Y + (i + 1) * Height / (ports.Count + 1);
                ports[i].Direction = dir;
            }
        }

        protected abstract void CreateConnectors();

        protected void AddInputs(ConType type, params string[] names)
        {
            foreach (var n in names) InputConnectors.Add(new ConnectionPoint { Type = type, ConnectorName = n });
        }

        protected void AddOutputs(params string[] names)
        {
            foreach (var n in names) OutputConnectors.Add(new ConnectionPoint { Type = ConType.ConOut, ConnectorName = n });
        }

        protected void ActivateEnergyConnector(string name)
        {
            EnergyConnector.Active = true;
            EnergyConnector.ConnectorName = name;
        }
    }

    public abstract class ShapeGraphic : GraphicObject { }
}
