using System.Collections.Generic;
using DWSIM.Interfaces.Enums.GraphicObjects;

namespace DWSIM.Interfaces
{
    public interface IPropertyPackage
    {
        string UniqueID { get; set; }
        string Tag { get; set; }
        string Name { get; }
        string DisplayName { get; set; }
        IFlowsheet Flowsheet { get; set; }
        object GetAsObject();
        object Clone();
    }

    public interface IFlowsheet
    {
        Dictionary<string, ICompoundConstantProperties> AvailableCompounds { get; set; }
        Dictionary<string, IPropertyPackage> AvailablePropertyPackages { get; }
        Dictionary<string, ICompoundConstantProperties> SelectedCompounds { get; }
        Dictionary<string, IPropertyPackage> PropertyPackages { get; }
        Dictionary<string, ISimulationObject> SimulationObjects { get; }
        Dictionary<string, IGraphicObject> GraphicObjects { get; }

        ICompoundConstantProperties AddCompound(string compname);
        IPropertyPackage CreatePropertyPackage(string name);
        IPropertyPackage CreateAndAddPropertyPackage(string name);
        void AddPropertyPackage(IPropertyPackage pp);
        List<string> GetAvailablePropertyPackages();

        ISimulationObject AddObject(ObjectType t, int xcoord, int ycoord, string tag);
        ISimulationObject AddObject(ObjectType t, int xcoord, int ycoord, string id, string tag);
        void ConnectObjects(IGraphicObject gobjfrom, IGraphicObject gobjto, int fromidx, int toidx);
        void DisconnectObjects(IGraphicObject gobjfrom, IGraphicObject gobjto);
        ISimulationObject GetFlowsheetSimulationObject(string tag);
    }
}
