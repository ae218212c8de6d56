namespace DWSIM.Interfaces
{
    public interface ISimulationObject
    {
        string Name { get; set; }
        IGraphicObject GraphicObject { get; set; }
        IPropertyPackage PropertyPackage { get; set; }
        bool Calculated { get; set; }
        string ErrorMessage { get; set; }
        void Calculate(object args = null);
        void Solve();
        void SetFlowsheet(IFlowsheet flowsheet);
        IFlowsheet GetFlowsheet();
        object GetAsObject();
    }

    public interface IEnergyStream
    {
        double GetEnergyFlow();
        void SetEnergyFlow(double value);
    }
}
