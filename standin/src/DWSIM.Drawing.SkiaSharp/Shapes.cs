// One graphic class per object type; each creates DWSIM's ports for its unit.
using DWSIM.Interfaces.Enums.GraphicObjects;

namespace DWSIM.Drawing.SkiaSharp.GraphicObjects.Shapes
{
    public class MaterialStreamGraphic : ShapeGraphic
    {
        public MaterialStreamGraphic() { ObjectType = ObjectType.MaterialStream; Height = 20; }
        protected override void CreateConnectors() { AddInputs(ConType.ConIn, "Inlet"); AddOutputs("Outlet"); }
    }

    public class EnergyStreamGraphic : ShapeGraphic
    {
        public EnergyStreamGraphic() { ObjectType = ObjectType.EnergyStream; IsEnergyStream = true; Height = 20; }
        protected override void CreateConnectors() { AddInputs(ConType.ConIn, "Inlet"); AddOutputs("Outlet"); }
    }

    public class MixerGraphic : ShapeGraphic
    {
        public MixerGraphic() { ObjectType = ObjectType.NodeIn; }
        protected override void CreateConnectors()
        {
            AddInputs(ConType.ConIn, "Inlet Stream 1", "Inlet Stream 2", "Inlet Stream 3",
                      "Inlet Stream 4", "Inlet Stream 5", "Inlet Stream 6");
            AddOutputs("Mixed Stream");
        }
    }

    public class SplitterGraphic : ShapeGraphic
    {
        public SplitterGraphic() { ObjectType = ObjectType.NodeOut; }
        protected override void CreateConnectors() { AddInputs(ConType.ConIn, "Inlet"); AddOutputs("Outlet 1", "Outlet 2", "Outlet 3"); }
    }

    public class ComponentSeparatorGraphic : ShapeGraphic
    {
        public ComponentSeparatorGraphic() { ObjectType = ObjectType.ComponentSeparator; }
        protected override void CreateConnectors()
        {
            AddInputs(ConType.ConIn, "Inlet");
            AddOutputs("Outlet 1", "Outlet 2");
            ActivateEnergyConnector("Energy Stream");
        }
    }

    public class HeaterGraphic : ShapeGraphic
    {
        public HeaterGraphic() { ObjectType = ObjectType.Heater; }
        protected override void CreateConnectors()
        {
            AddInputs(ConType.ConIn, "Inlet");
            AddInputs(ConType.ConEn, "Energy Stream (Primary)");
            AddOutputs("Outlet");
            ActivateEnergyConnector("Energy Stream (Secondary)");
        }
    }

    public class CoolerGraphic : ShapeGraphic
    {
        public CoolerGraphic() { ObjectType = ObjectType.Cooler; }
        protected override void CreateConnectors()
        {
            AddInputs(ConType.ConIn, "Inlet");
            AddInputs(ConType.ConEn, "Energy Stream (Secondary)");
            AddOutputs("Outlet");
            ActivateEnergyConnector("Energy Stream (Primary)");
        }
    }

    public class VesselGraphic : ShapeGraphic
    {
        public VesselGraphic() { ObjectType = ObjectType.Vessel; Height = 80; }
        protected override void CreateConnectors()
        {
            AddInputs(ConType.ConIn, "Inlet Stream #0", "Inlet Stream #1", "Inlet Stream #2",
                      "Inlet Stream #3", "Inlet Stream #4", "Inlet Stream #5");
            AddInputs(ConType.ConEn, "Energy Stream");
            AddOutputs("Vapor Outlet", "Light Liquid Outlet", "Heavy Liquid Outlet");
        }
    }

    public class PumpGraphic : ShapeGraphic
    {
        public PumpGraphic() { ObjectType = ObjectType.Pump; }
        protected override void CreateConnectors()
        {
            AddInputs(ConType.ConIn, "Inlet");
            AddInputs(ConType.ConEn, "Energy Stream");
            AddOutputs("Outlet");
        }
    }

    public class CompressorGraphic : ShapeGraphic
    {
        public CompressorGraphic() { ObjectType = ObjectType.Compressor; }
        protected override void CreateConnectors()
        {
            AddInputs(ConType.ConIn, "Inlet");
            AddInputs(ConType.ConEn, "Energy Stream");
            AddOutputs("Outlet");
        }
    }

    public class ValveGraphic : ShapeGraphic
    {
        public ValveGraphic() { ObjectType = ObjectType.Valve; }
        protected override void CreateConnectors() { AddInputs(ConType.ConIn, "Inlet"); AddOutputs("Outlet"); }
    }

    public class RecycleGraphic : ShapeGraphic
    {
        public RecycleGraphic() { ObjectType = ObjectType.OT_Recycle; Width = 20; Height = 20; }
        protected override void CreateConnectors() { AddInputs(ConType.ConIn, "Inlet"); AddOutputs("Outlet"); }
    }
}
